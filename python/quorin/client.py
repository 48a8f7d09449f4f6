"""A connection to a daemon, on which the caller plays the management framework.

A client is synchronous and belongs to one thread at a time; threads that work at once have a client
each. Every wait ends: with what is waited for, or after `timeout` seconds with NoReply.
"""

from __future__ import annotations

import collections
import itertools
import json
import os
import socket
import time
from collections.abc import Iterable, Iterator, Mapping
from typing import Any

from quorin import enums
from quorin.catalogue import Fields, RecordType, has_wildcard, record_type
from quorin.enums import ApplyAction, Operation, Result
from quorin.errors import BadReply, ConnectionLost, NoReply, RequestError, UnknownName
from quorin.messages import (
    Advance,
    GetKeysReply,
    GetReply,
    Journal,
    JournalEntry,
    Notification,
    Reply,
    SetReply,
    hex_id,
)

DEFAULT_PATH = "/run/quorin/oam.sock"

Params = dict[str, Any]


class Request:
    """A request under way. Its reply is kept until it is asked for."""

    def __init__(self, client: Client, id: int, method: str) -> None:
        self._client = client
        self.id = id
        self.method = method

    def reply(self, timeout: float | None = None) -> Params:
        """The reply's `result`, once. Raises RequestError, NoReply and ConnectionLost."""
        return self._client._reply(self, timeout)


class Fault:
    """A fault of the platform. As a context manager it is removed at the end."""

    def __init__(self, client: Client, id: int) -> None:
        self._client = client
        self.id = id

    def hits(self) -> int:
        """How often it was applied. It must not be removed yet."""
        for fault in self._client.fault_list():
            if fault["faultId"] == self.id:
                return int(fault["hits"])
        raise UnknownName(f"there is no fault {self.id}")

    def remove(self) -> bool:
        """Whether it was still there."""
        return self._client.fault_remove(self.id) == 1

    def __enter__(self) -> Fault:
        return self

    def __exit__(self, *exception: object) -> None:
        self.remove()


class Client:
    """One connection to the socket at `path`.

    Records are named by name or id, fields and keys by a mapping of names to values; raw blocks
    are `bytes`. `path` is by default KOR_OAM_SOCKET, else /run/quorin/oam.sock.
    `timeout`, in seconds, bounds the wait for each reply and notification, and may be changed.
    """

    def __init__(self, path: str | os.PathLike[str] | None = None, timeout: float = 30.0) -> None:
        self.path = os.fspath(path or os.environ.get("KOR_OAM_SOCKET") or DEFAULT_PATH)
        self.timeout = timeout
        self.notifications: collections.deque[Notification] = collections.deque()
        """Those that have come and were not asked for yet, oldest first."""
        self._ids = itertools.count(1)
        self._awaited: dict[int, Params | None] = {}
        self._received = bytearray()
        self._searched = 0
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.settimeout(timeout)
        try:
            self._socket.connect(self.path)
        except OSError as error:
            self.close()
            hints = {
                PermissionError: '; root and members of the group "apps" may use it',
                FileNotFoundError: "; no daemon serves it",
                ConnectionRefusedError: "; its daemon has ended",
            }
            raise ConnectionLost(f"{self.path}: {error}{hints.get(type(error), '')}") from error

    def close(self) -> None:
        """Ends the connection. Requests that the daemon has not begun are withdrawn."""
        self._socket.close()

    def __enter__(self) -> Client:
        return self

    def __exit__(self, *exception: object) -> None:
        self.close()

    # Requests of the management framework.

    def get(
        self,
        record: str | int,
        *keys: Fields | bytes,
        batch_size: int = 0,
        clear_on_read: bool = False,
        wildcard_allowed: bool | None = None,
    ) -> GetReply:
        """Reads a record: all of it, or the rows of these keys.

        `batch_size` is 0 to 65535. `wildcard_allowed` says how the keys are encoded; left out, it is
        true where one holds a wildcard.
        """
        if wildcard_allowed is None:
            wildcard_allowed = any(not isinstance(k, bytes) and has_wildcard(k) for k in keys)
        reply = self.call(
            "get",
            recordId=_id(record),
            queryKeys=[_key_block(record, each, wildcard_allowed) for each in keys],
            wildcardAllowed=wildcard_allowed,
            batchSize=batch_size,
            clearOnRead=clear_on_read,
        )
        return GetReply(reply)

    def get_keys(
        self,
        record: str | int,
        keys: Fields | bytes | None = None,
        *,
        batch_size: int = 0,
        after: Fields | bytes | None = None,
        first: bool | None = None,
        wildcard_allowed: bool | None = None,
    ) -> GetKeysReply:
        """One page of the key sets that `keys` covers. `after` goes on after a page's last."""
        params: Params = {"recordId": _id(record), "batchSize": batch_size}
        if wildcard_allowed is None:
            wildcard_allowed = isinstance(keys, Mapping) and has_wildcard(keys)
        if keys is not None:
            params["queryKeys"] = _key_block(record, keys, wildcard_allowed)
            params["wildcardAllowed"] = wildcard_allowed
        if after is not None:
            params["lastSentKeys"] = _key_block(record, after, False)
        if first is not None:
            params["firstRequest"] = first
        return GetKeysReply(self.call("getKeys", **params), record)

    def walk_keys(
        self, record: str | int, keys: Fields, *, batch_size: int = 0
    ) -> Iterator[dict[str, Any]]:
        """All key sets that `keys` covers, page by page. Raises ResultError."""
        page = self.get_keys(record, keys, batch_size=batch_size)
        while True:
            page.check()
            yield from page.keys
            if page.last_batch or not page.blocks:
                return
            page = self.get_keys(record, keys, batch_size=batch_size, after=page.blocks[-1])

    def set(
        self,
        record: str | int | bytes,
        fields: Fields | None = None,
        *,
        op: Operation | int | str = Operation.SET,
        apply_action: ApplyAction | int | str = 0,
        transaction_id: int = 0,
        reg_download: bool = False,
        error_string: str = "",
    ) -> SetReply:
        """Changes a record, or runs an action. Fields that are left out are zero.

        `transaction_id` is 0 to 65535; a deferred response has the same.
        """
        reply = self.call(
            "set",
            **_change(record, fields, op, apply_action, reg_download),
            transactionId=transaction_id,
            errorString=error_string,
        )
        return SetReply(reply)

    def deferred_response(self, transaction_id: int = 0, timeout: float | None = None) -> SetReply:
        """Waits for the answer to a set that was deferred. Subscribe before that set."""
        awaited = self.notification("deferredSetRsp", timeout, transactionId=transaction_id)
        return SetReply(awaited.params)

    def notify(
        self,
        record: str | int | bytes,
        fields: Fields | None = None,
        *,
        op: Operation | int | str = Operation.SET,
        apply_action: ApplyAction | int | str = 0,
        reg_download: bool = False,
    ) -> Reply:
        """Tells the daemon that a record has changed."""
        return Reply(
            self.call("notify", **_change(record, fields, op, apply_action, reg_download))
        )

    def clear(self, record: str | int) -> Reply:
        """Resets what a record counts."""
        return Reply(self.call("clear", recordId=_id(record)))

    def init_prov_complete(self) -> Reply:
        """Tells the daemon that the initial provisioning is complete."""
        return Reply(self.call("initProvComplete"))

    def svc_reg_ind(self) -> Reply:
        """Asks the daemon for its service registration."""
        return Reply(self.call("svcRegInd"))

    def svc_reg_result(
        self, kind: int, result: Result | int | str, groups: Iterable[int] = ()
    ) -> Reply:
        """Reports an outcome of the service registration: kind 12, then 14."""
        return Reply(
            self.call(
                "svcRegResult",
                kind=kind,
                result=enums.number(Result, result),
                groups=[f"{group:#x}" for group in groups],
            )
        )

    def set_ind_result(self, set_ind_id: int, result: Result | int | str = 0) -> Reply:
        """Reports the outcome of a set indication."""
        return Reply(
            self.call("setIndResult", setIndId=set_ind_id, result=enums.number(Result, result))
        )

    # What the daemon sends by itself.

    def subscribe(self, requests: bool = False) -> int:
        """From now on notifications come; with `requests` also every request that is answered.

        Returns the number of this connection, which entries of the journal have.
        """
        params = {"requests": True} if requests else {}
        return int(self.call("subscribe", **params).get("connection", 0))

    def unsubscribe(self) -> None:
        self.call("unsubscribe")

    def notification(
        self, method: str | None = None, timeout: float | None = None, **members: Any
    ) -> Notification:
        """Waits for a notification and takes it: the oldest of this method with these parameters.

        Others stay in `notifications`. `timeout` is in seconds. Raises NoReply.
        """
        deadline = self._deadline(timeout)
        passed = 0
        while True:
            for each in itertools.islice(self.notifications, passed, None):
                if method in (None, each.method) and all(
                    each.params.get(name) == value for name, value in members.items()
                ):
                    self.notifications.remove(each)
                    return each
            passed = len(self.notifications)
            shown = "".join(f" {name}={value!r}" for name, value in members.items())
            self._read(f"notification {method or 'of any kind'}{shown}", deadline)

    # What the platform stand-in offers besides its management requests.

    def status(self) -> Params:
        """How the daemon is doing, as the socket has it. A daemon that replies is ready."""
        return self.call("status")

    def journal(
        self,
        *,
        after: int | None = None,
        limit: int = 100,
        method: str | None = None,
        record: str | int | None = None,
    ) -> Journal:
        """What arrived, and how it was answered: the newest `limit` (1 to 1000) entries.

        With `after` the oldest entries of a greater number.
        """
        params: Params = {"limit": limit}
        if after is not None:
            params["after"] = after
        if method is not None:
            params["method"] = method
        if record is not None:
            params["recordId"] = _id(record)
        return Journal(self.call("journal", **params))

    def journal_clear(self) -> int:
        """Empties the journal; returns how many entries it had."""
        return int(self.call("journalClear")["cleared"])

    def advance(self, seconds: float) -> Advance:
        """Time passes for the pauses of the daemon; what it sends in that time is there when this returns."""
        return Advance(self.call("advanceTime", seconds=seconds))

    def fault(
        self,
        *,
        method: str | None = None,
        notification: str | None = None,
        record: str | int | None = None,
        count: int | None = None,
        delay: float = 0,
        result: Result | int | str | None = None,
        error_string: str | None = None,
        drop: bool = False,
        disconnect: bool = False,
        duplicate: bool = False,
        blocks: str | None = None,
    ) -> Fault:
        """Adds a fault of the platform, of requests of a method or of notifications.

        `delay` is in seconds, `count` how often it applies (always where it is left out), and
        `blocks` is truncate or flip.
        """
        params = {
            "method": method,
            "notification": notification,
            "recordId": None if record is None else _id(record),
            "count": count,
            "delayMilliseconds": round(delay * 1000) or None,
            "result": None if result is None else enums.number(Result, result),
            "errorString": error_string,
            "drop": drop or None,
            "disconnect": disconnect or None,
            "duplicate": duplicate or None,
            "blocks": blocks,
        }
        given = {name: value for name, value in params.items() if value is not None}
        return Fault(self, int(self.call("faultAdd", **given)["faultId"]))

    def fault_list(self) -> list[Params]:
        """All faults that are not removed, as the socket has them."""
        faults: list[Params] = self.call("faultList")["faults"]
        return faults

    def fault_remove(self, id: int | None = None) -> int:
        """Removes a fault, or all; returns how many."""
        return int(self.call("faultRemove", **({} if id is None else {"faultId": id}))["removed"])

    # Messages.

    def call(self, method: str, /, **params: Any) -> Params:
        """Any request as it is, and its `result`. Raises RequestError, NoReply."""
        return self.send(method, **params).reply()

    def send(self, method: str, /, **params: Any) -> Request:
        """Sends a request without waiting for its reply."""
        id = next(self._ids)
        message = {"jsonrpc": "2.0", "id": id, "method": method, "params": params}
        self._awaited[id] = None
        self._socket.settimeout(self.timeout)
        try:
            self._socket.sendall(json.dumps(message).encode() + b"\n")
        except TimeoutError:
            # What was sent of the line cannot be taken back.
            self.close()
            raise NoReply(f"{method}: the daemon did not take the request") from None
        except OSError as error:
            raise ConnectionLost(f"{method}: {error}") from error
        return Request(self, id, method)

    def _reply(self, request: Request, timeout: float | None) -> Params:
        if request.id not in self._awaited:
            raise ValueError(f"the reply to {request.method} was taken, or given up, before")
        deadline = self._deadline(timeout)
        try:
            while (reply := self._awaited[request.id]) is None:
                self._read(f"reply to {request.method}", deadline)
        finally:
            del self._awaited[request.id]
        if "error" in reply:
            error = reply["error"]
            raise RequestError(request.method, error["code"], error["message"])
        result = reply.get("result")
        if not isinstance(result, dict):
            raise BadReply(f"{request.method}: {reply}")
        return result

    def _deadline(self, timeout: float | None) -> float:
        return time.monotonic() + (self.timeout if timeout is None else timeout)

    def _read(self, awaited: str, deadline: float) -> None:
        """Reads one message and puts it where it belongs."""
        line = self._read_line(awaited, deadline)
        try:
            message = json.loads(line)
            if "id" not in message:
                self.notifications.append(Notification(message["method"], message["params"]))
            elif message["id"] in self._awaited:
                self._awaited[message["id"]] = message
            elif message["id"] is None:
                error = message["error"]
                raise RequestError(awaited, error["code"], error["message"])
        except (ValueError, KeyError, TypeError) as error:
            raise BadReply(f"no {awaited}, but {line[:200]!r}") from error

    def _read_line(self, awaited: str, deadline: float) -> bytes:
        while (end := self._received.find(b"\n", self._searched)) < 0:
            self._searched = len(self._received)
            left = deadline - time.monotonic()
            self._socket.settimeout(max(left, 0.001))
            try:
                received = self._socket.recv(1 << 18)
            except TimeoutError:
                raise NoReply(f"no {awaited} in time") from None
            except OSError as error:
                raise ConnectionLost(f"no {awaited}: {error}") from error
            if not received:
                raise ConnectionLost(f"no {awaited}: the daemon has ended the connection")
            self._received += received
        line = bytes(self._received[:end])
        del self._received[: end + 1]
        self._searched = 0
        return line


def _id(record: str | int) -> str:
    """The id as the socket writes it. A number need not be in the catalogue."""
    return hex_id(record_type(record).id if isinstance(record, str) else record)


def _key_block(record: str | int, keys: Fields | bytes, wildcard_allowed: bool) -> str:
    if isinstance(keys, bytes):
        return keys.hex()
    return record_type(record).encode_keys(keys, wildcard_allowed).hex()


def _change(
    record: str | int | bytes,
    fields: Fields | None,
    op: int | str,
    apply_action: int | str,
    reg_download: bool,
) -> Params:
    if isinstance(record, bytes):
        if fields is not None:
            raise TypeError("a raw block has its fields already")
        block = record
    else:
        block = record_type(record).encode(fields)
    return {
        "record": block.hex(),
        "opType": enums.number(Operation, op),
        "applyAction": enums.number(ApplyAction, apply_action),
        "regDownloadFlag": reg_download,
    }
