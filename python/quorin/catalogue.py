"""The records, key sets and notifications of the catalogue, and their blocks.

`catalogue.json` beside this file describes them; `catalogue.schema.json` describes that. Nothing here
needs a daemon, and everything may be used from any thread.

Fields are a mapping of names to values: `int`, `bool` or `str`. A text carries bytes that are not
UTF-8 as surrogate escapes. Integers may lie outside the range of a field as long as they fit its
width: that is how to send a bad value.
"""

from __future__ import annotations

import datetime
import importlib.resources
import json
import struct
from collections.abc import Iterable, Mapping, Sequence
from dataclasses import dataclass
from typing import Any

from quorin.enums import Severity, member
from quorin.errors import BlockError, FieldError, UnknownName

Value = int | bool | str
Fields = Mapping[str, Any]

ANY = "*"
"""The value of a wildcard key."""

_FORMATS = {"u8": ">B", "u16": ">H", "u32": ">I", "u64": ">Q", "i16": ">h", "bool": ">B"}


class Record(dict[str, Any]):
    """The fields of a block by name, in wire order; it equals a plain dict of the same fields.

    A notification has `time` in UTC, and `severity` or `alarmSet`, before its fields.
    """

    def __init__(
        self, type: RecordType | NotificationType, fields: Mapping[str, Any], block: bytes
    ) -> None:
        super().__init__(fields)
        self.type = type
        self.block = block


class _Reader:
    """Takes a block apart. What cannot be read is a BlockError that names the field."""

    def __init__(self, owner: str, block: bytes) -> None:
        self.owner = owner
        self.block = block
        self.offset = 0

    def problem(self, field: str, problem: str, offset: int | None = None) -> BlockError:
        return BlockError(self.owner, field, self.offset if offset is None else offset, problem)

    def take(self, count: int, field: str) -> bytes:
        left = len(self.block) - self.offset
        if count > left:
            raise self.problem(field, f"needs {count} bytes, and {left} are left")
        self.offset += count
        return self.block[self.offset - count : self.offset]

    def number(self, format: str, field: str) -> int:
        value: int = struct.unpack(format, self.take(struct.calcsize(format), field))[0]
        return value

    def expect(self, format: str, field: str, expected: int) -> None:
        value = self.number(format, field)
        if value != expected:
            offset = self.offset - struct.calcsize(format)
            raise self.problem(field, f"is {value:#x}, not {expected:#x}", offset)

    def length(self, field: str, wanted: int | None = None) -> None:
        """Reads a length of 2 bytes; it counts what is left, or `wanted`."""
        left = len(self.block) - self.offset - 2
        self.expect(">H", field, max(left, 0) if wanted is None else wanted)


@dataclass(frozen=True)
class FieldType:
    """A field or a key. `min` and `max` are those of a value that reads as valid."""

    name: str
    type: str
    """u8, u16, u32, u64, i16, bool or text"""
    width: int = 0
    """Bytes on the wire; 0 for a text."""
    min: int = 0
    max: int = 0
    max_length: int = 0
    """Of a text, in bytes."""

    def encode(self, owner: str, value: Any) -> bytes:
        """The bytes of a value. Raises FieldError where they cannot carry it."""
        if self.type == "text":
            return self._encode_text(owner, value)
        if self.type == "bool":
            if value not in (False, True) or not isinstance(value, int):
                raise FieldError(owner, self.name, f"must be True or False, not {value!r}")
        elif not isinstance(value, int) or isinstance(value, bool):
            raise FieldError(owner, self.name, f"must be a number, not {value!r}")
        try:
            return struct.pack(_FORMATS[self.type], value)
        except struct.error:
            bits = 8 * self.width
            signed = self.type.startswith("i")
            low, high = (-1 << bits - 1, (1 << bits - 1) - 1) if signed else (0, (1 << bits) - 1)
            raise FieldError(
                owner, self.name, f"must be a number from {low} to {high}, not {value}"
            ) from None

    def _encode_text(self, owner: str, value: Any) -> bytes:
        if not isinstance(value, str):
            raise FieldError(owner, self.name, f"must be a text, not {value!r}")
        text = value.encode("utf-8", "surrogateescape")
        if len(text) > self.max_length:
            problem = f"must be a text of at most {self.max_length} bytes, not of {len(text)}"
            raise FieldError(owner, self.name, problem)
        if 0 in text:
            raise FieldError(owner, self.name, "has a NUL, which would end it")
        return struct.pack(">H", len(text) + 1) + text + b"\0"

    def decode(self, reader: _Reader) -> Value:
        """Reads the field. Raises BlockError where it is cut off or out of range."""
        if self.type == "text":
            length = reader.number(">H", self.name)
            if length > self.max_length + 1:
                problem = f"is {length} bytes long, and {self.max_length + 1} are the most"
                raise reader.problem(self.name, problem, reader.offset - 2)
            text = reader.take(length, self.name).split(b"\0", 1)[0]
            return text.decode("utf-8", "surrogateescape")
        value = reader.number(_FORMATS[self.type], self.name)
        if self.type == "bool":
            return value != 0
        if not self.min <= value <= self.max:
            problem = f"is {value}, out of {self.min} to {self.max}"
            raise reader.problem(self.name, problem, reader.offset - self.width)
        return value


def _known(owner: str, what: str, types: Iterable[FieldType], given: Iterable[str]) -> None:
    names = [each.name for each in types]
    for name in given:
        if name not in names:
            raise UnknownName(f"{owner} has no {what} {name!r}; it has {', '.join(names) or 'none'}")


def _payload(owner: str, types: Sequence[FieldType], fields: Fields) -> bytes:
    """The fields in wire order; those that are left out are zero, false or empty."""
    _known(owner, "field", types, fields)
    payload = b"".join(
        each.encode(owner, fields.get(each.name, "" if each.type == "text" else 0))
        for each in types
    )
    return struct.pack(">H", len(payload)) + payload


def _read_payload(reader: _Reader, types: Sequence[FieldType]) -> dict[str, Value]:
    reader.length("the payload length")
    fields = {each.name: each.decode(reader) for each in types}
    left = len(reader.block) - reader.offset
    if left:
        raise reader.problem("the end", f"has {left} bytes more")
    return fields


@dataclass(frozen=True)
class RecordType:
    """A record of the catalogue. `keys` is empty for one without key sets."""

    id: int
    name: str
    registered: bool
    """Whether the framework can make it from its id; the daemon alone makes the others."""
    fields: tuple[FieldType, ...]
    keys: tuple[FieldType, ...]

    @property
    def group(self) -> int:
        return self.id >> 16

    def encode(self, fields: Fields | None = None) -> bytes:
        """A record block. Fields that are left out are zero. Raises FieldError, UnknownName."""
        return struct.pack(">I", self.id) + _payload(self.name, self.fields, fields or {})

    def decode(self, block: bytes) -> Record:
        """The fields of a record block. Raises BlockError."""
        reader = _Reader(self.name, block)
        reader.expect(">I", "the id", self.id)
        return Record(self, _read_payload(reader, self.fields), block)

    def encode_keys(self, keys: Fields, wildcard_allowed: bool | None = None) -> bytes:
        """A key block; every key must be given, a wildcard as ANY. Raises FieldError, UnknownName.

        Only a block that allows wildcards can hold one, and each key is marked then. Left out, the
        block allows them where there is one.
        """
        owner = f"keys of {self.name}"
        _known(owner, "key", self.keys, keys)
        if wildcard_allowed is None:
            wildcard_allowed = has_wildcard(keys)
        content = b""
        for tag, key in enumerate(self.keys, 1):
            if key.name not in keys:
                raise FieldError(owner, key.name, "is missing")
            value = keys[key.name]
            content += struct.pack(">H", tag)
            if value == ANY:
                if not wildcard_allowed:
                    raise FieldError(owner, key.name, "is a wildcard where none is allowed")
                content += b"\1"
                continue
            if wildcard_allowed:
                content += b"\0"
            content += struct.pack(">H", key.width) + key.encode(owner, value)
        return struct.pack(">H", len(content)) + content

    def decode_keys(self, block: bytes, wildcard_allowed: bool = False) -> dict[str, Any]:
        """The keys of a key block, a wildcard as ANY. Raises BlockError."""
        reader = _Reader(f"keys of {self.name}", block)
        reader.length("the length")
        keys: dict[str, Any] = {}
        for tag, key in enumerate(self.keys, 1):
            reader.expect(">H", f"the number of {key.name}", tag)
            if wildcard_allowed and reader.number(">B", f"the marker of {key.name}"):
                keys[key.name] = ANY
                continue
            reader.expect(">H", f"the length of {key.name}", key.width)
            keys[key.name] = key.decode(reader)
        if reader.offset != len(block):
            raise reader.problem("the end", f"has {len(block) - reader.offset} bytes more")
        return keys


@dataclass(frozen=True)
class NotificationType:
    """An event, an alarm or a record-update event. Each kind has ids of its own."""

    kind: str
    """event, alarm or recordUpdateEvent: the method and the parameter of the notification"""
    id: int
    name: str
    fields: tuple[FieldType, ...]

    def encode(self, fields: Fields) -> bytes:
        """A block. `time` is now, `severity` Warning and `alarmSet` false where they are left out."""
        payload = dict(fields)
        time = payload.pop("time", None) or datetime.datetime.now(datetime.UTC)
        stamp = struct.pack(">qq", int(time.timestamp() // 1), time.microsecond)
        block = struct.pack(">I", self.id)
        if self.kind == "event":
            severity = int(payload.pop("severity", Severity.WARNING))
            block += struct.pack(">H", severity & 0xFFFF) + stamp + bytes(2)
        elif self.kind == "alarm":
            block += stamp + struct.pack(">?B", payload.pop("alarmSet", False), 0)
        else:
            block += stamp
        return block + _payload(self.name, self.fields, payload)

    def decode(self, block: bytes) -> Record:
        """The header and the fields of a block. Raises BlockError."""
        reader = _Reader(self.name, block)
        reader.expect(">I", "the id", self.id)
        header: dict[str, Any] = {}
        if self.kind == "event":
            header["severity"] = member(Severity, reader.number(">H", "severity"))
        offset = reader.offset
        seconds = reader.number(">q", "the seconds")
        microseconds = reader.number(">q", "the microseconds")
        try:
            time = datetime.datetime(1970, 1, 1, tzinfo=datetime.UTC) + datetime.timedelta(
                seconds=seconds, microseconds=microseconds
            )
        except OverflowError:
            raise reader.problem("the seconds", f"is {seconds}, no time", offset) from None
        if self.kind == "event":
            reader.take(2, "the reserved bytes")
        elif self.kind == "alarm":
            header["alarmSet"] = reader.number(">B", "alarmSet") != 0
            reader.take(1, "the reserved byte")
        return Record(
            self, {"time": time, **header, **_read_payload(reader, self.fields)}, block
        )


def _field_types(fields: Iterable[Mapping[str, Any]]) -> tuple[FieldType, ...]:
    return tuple(
        FieldType(**{("max_length" if name == "maxLength" else name): each[name] for name in each})
        for each in fields
    )


def _load() -> tuple[tuple[RecordType, ...], tuple[NotificationType, ...]]:
    catalogue = json.loads(
        importlib.resources.files("quorin").joinpath("catalogue.json").read_text("utf-8")
    )
    records = tuple(
        RecordType(
            int(each["id"], 16),
            each["name"],
            each["registered"],
            _field_types(each["fields"]),
            _field_types(each["keys"]),
        )
        for each in catalogue["records"]
    )
    notifications = tuple(
        NotificationType(
            each["kind"], int(each["id"], 16), each["name"], _field_types(each["fields"])
        )
        for each in catalogue["notifications"]
    )
    return records, notifications


RECORDS, NOTIFICATIONS = _load()
"""All of the catalogue, by id."""

GROUPS = tuple(sorted({each.group for each in RECORDS}))
"""The groups of all records."""


def has_wildcard(keys: Fields) -> bool:
    """Whether a key set has a wildcard."""
    return any(isinstance(value, str) and value == ANY for value in keys.values())


def record_type(record: str | int) -> RecordType:
    """A record by its name, whatever the case, or by its id. Raises UnknownName."""
    for each in RECORDS:
        if each.id == record or (isinstance(record, str) and each.name.lower() == record.lower()):
            return each
    shown = record if isinstance(record, str) else f"{record:#x}"
    raise UnknownName(f"there is no record {shown}")


def notification_type(kind: str, id: int) -> NotificationType:
    """A notification by its kind and id. Raises UnknownName."""
    for each in NOTIFICATIONS:
        if (each.kind, each.id) == (kind, id):
            return each
    raise UnknownName(f"there is no {kind} {id:#x}")


def block_id(block: bytes) -> int:
    """The id with which a record or notification block begins. Raises BlockError."""
    return _Reader("the block", block).number(">I", "the id")


def decode(block: bytes) -> Record:
    """A record block of any record of the catalogue. Raises BlockError, UnknownName."""
    return record_type(block_id(block)).decode(block)
