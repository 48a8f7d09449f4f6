"""Replies, notifications and entries of the journal, taken apart.

Blocks are decoded when they are asked for: only then a block that does not read is a BlockError.
`raw` is what came.
"""

from __future__ import annotations

import datetime
import reprlib
from collections.abc import Mapping
from typing import Any

from quorin import catalogue, enums
from quorin.catalogue import Record
from quorin.enums import ApplyAction, Operation, Result
from quorin.errors import ResultError, UnknownName

Members = Mapping[str, Any]


def hex_id(id: int) -> str:
    """An id as the socket and the pages write it."""
    return f"{id:#x}"


class Reply:
    """The answer of the daemon, or of the platform in its place."""

    def __init__(self, raw: Members) -> None:
        self.raw = dict(raw)

    @property
    def result(self) -> Result | int:
        """A Result, or the number itself where it is none."""
        return enums.member(Result, self.raw["result"])

    @property
    def text(self) -> str:
        """The text of the result."""
        return str(self.raw["resultText"])

    @property
    def error_string(self) -> str:
        return str(self.raw.get("errorString", ""))

    @property
    def ok(self) -> bool:
        """Whether the result is Success."""
        return self.result == Result.SUCCESS

    def check(self) -> None:
        """Raises ResultError unless the result is Success."""
        if not self.ok:
            text = f"{self.text} ({int(self.result)})"
            raise ResultError(": ".join(filter(None, (text, self.error_string))), self.result)

    def __repr__(self) -> str:
        return f"<{type(self).__name__} {reprlib.repr(self.raw)}>"


class GetReply(Reply):
    """The rows of a record."""

    @property
    def blocks(self) -> list[bytes]:
        return [bytes.fromhex(block) for block in self.raw["records"]]

    @property
    def records(self) -> list[Record]:
        """Each row by field name. Raises BlockError."""
        return [catalogue.decode(block) for block in self.blocks]


class GetKeysReply(Reply):
    """A page of key sets. `last_batch` says that no page follows."""

    def __init__(self, raw: Members, record: str | int) -> None:
        super().__init__(raw)
        self._record = record

    @property
    def blocks(self) -> list[bytes]:
        return [bytes.fromhex(block) for block in self.raw["keys"]]

    @property
    def keys(self) -> list[dict[str, Any]]:
        """Each key set by key name. Raises BlockError."""
        return [catalogue.record_type(self._record).decode_keys(each) for each in self.blocks]

    @property
    def last_batch(self) -> bool:
        return bool(self.raw["lastBatch"])


class SetReply(Reply):
    """The answer to a set, at once or deferred."""

    @property
    def apply_action(self) -> ApplyAction | int:
        return enums.member(ApplyAction, self.raw["applyAction"])


class Notification:
    """What the daemon sent by itself. `params` is as it came."""

    def __init__(self, method: str, params: Members) -> None:
        self.method = method
        self.params = dict(params)

    @property
    def record(self) -> Record:
        """The record of a setInd, the event, the alarm or the record-update event by field name.

        Raises BlockError, and UnknownName where there is none.
        """
        block = bytes.fromhex(self.params.get("record") or self.params.get(self.method) or "")
        if self.method == "setInd":
            return catalogue.decode(block)
        return catalogue.notification_type(self.method, catalogue.block_id(block)).decode(block)

    @property
    def entry(self) -> JournalEntry:
        """Of a `request`."""
        return JournalEntry(self.params)

    @property
    def op(self) -> Operation | int:
        """Of a setInd or a recordUpdateEvent."""
        return enums.member(Operation, self.params["opType"])

    @property
    def apply_action(self) -> ApplyAction | int:
        """Of a setInd or a deferredSetRsp."""
        return enums.member(ApplyAction, self.params["applyAction"])

    def __repr__(self) -> str:
        return f"<Notification {self.method} {reprlib.repr(self.params)}>"


class JournalEntry:
    """A request that arrived, and its answer."""

    def __init__(self, raw: Members) -> None:
        self.raw = dict(raw)
        self.seq = int(raw["seq"])
        self.time = datetime.datetime.fromisoformat(raw["time"])
        """When its turn came, UTC."""
        self.connection = int(raw["connection"])
        """0 for what the platform does by itself."""
        self.method = str(raw["method"])
        self.params: Any = raw["params"]
        self.called = bool(raw["called"])
        """Whether the daemon was called; otherwise the platform answered in its place."""
        self.microseconds = int(raw["microseconds"])
        """In the daemon's callback."""

    @property
    def reply(self) -> Members:
        """Empty where the answer was an error of the protocol."""
        reply: Members = self.raw.get("reply") or {}
        return reply

    @property
    def record_name(self) -> str:
        """The record that it is about, by name or else by id; empty where it names none."""
        params = self.params if isinstance(self.params, dict) else {}
        given = params.get("recordId", "0x" + str(params.get("record", ""))[:8])
        try:
            id = given if isinstance(given, int) else int(given, 16)
        except (TypeError, ValueError):
            return ""
        try:
            return catalogue.record_type(id).name
        except UnknownName:
            return hex_id(id)

    def __str__(self) -> str:
        answer = str(self.raw.get("error") or self.reply.get("resultText", ""))
        details = [
            f"{len(self.reply[name])} {what}"
            for name, what in (("records", "records"), ("keys", "key sets"))
            if name in self.reply
        ]
        if "applyAction" in self.reply:
            details.append(f"apply action {enums.text(ApplyAction, self.reply['applyAction'])}")
        if self.reply.get("errorString"):
            details.append(f"error string {self.reply['errorString']!r}")
        if not self.called:
            details.append("the daemon was not called")
        if "faultId" in self.raw:
            details.append(f"fault {self.raw['faultId']}")
        request = " ".join(filter(None, (self.method, self.record_name)))
        clock = self.time.strftime("%H:%M:%S.%f")
        answered = ", ".join((answer, *details, f"{self.microseconds} us"))
        return f"{self.seq} {clock} connection {self.connection}: {request}: {answered}"

    def __repr__(self) -> str:
        return f"<JournalEntry {self}>"


class Journal:
    """A page of the journal. `last` is the number of the newest entry of all, and `dropped` how many
    had to go since the start to make room."""

    def __init__(self, raw: Members) -> None:
        self.entries = [JournalEntry(entry) for entry in raw["entries"]]
        self.last = int(raw["last"])
        self.dropped = int(raw["dropped"])


class Advance:
    """How many pauses have ended. `settled` is false where the daemon still had something to do."""

    def __init__(self, raw: Members) -> None:
        self.ended = int(raw["ended"])
        self.settled = bool(raw["settled"])
