"""The enumerations of the management framework. Their values cross the socket: they never change.

Other values occur, since a test target passes on what it is told: members of replies are plain `int`
then. Every member equals its number, and `text` is what the daemon writes for it.
"""

from __future__ import annotations

import enum
from typing import TypeVar

from quorin.errors import UnknownName


class _Texts(enum.IntEnum):
    """Members that are made of their number and their text."""

    text: str

    def __new__(cls, number: int, text: str) -> _Texts:
        member = int.__new__(cls, number)
        member._value_ = number
        member.text = text
        return member


class Result(_Texts):
    """The result of a management operation."""

    SUCCESS = 0, "Success"
    FAIL = 1, "Fail"
    BAD_VALUE = 2, "Bad-Value"
    KEY_NOT_FOUND = 3, "Key-Not-Found"
    NOT_REGISTERED = 4, "Not-Registered"
    DUPLICATE = 5, "Duplicate"
    INTERNAL_ERROR = 6, "Internal-Error"
    ANOTHER_REGISTERED = 7, "Another-Registered"
    NO_MATCH = 8, "No-Match"
    INVALID_REQUEST = 9, "Invalid-Request"
    TIMEOUT = 10, "Timeout"
    BAD_KEY_VALUE = 11, "Bad-Key-Value"
    NOT_PERMITTED = 12, "Not-Permitted"
    INVALID_MGMT_OPTYPE = 13, "Invalid-Mgmt-OpType"
    INVALID_RECORD_ID = 14, "Invalid-Record-Id"
    INVALID_SESSIONID = 15, "Invalid-SessionId"
    INVALID_GROUP = 16, "Invalid-Group"
    XML_ERROR = 17, "Xml-Error"
    XML_NO_DATA = 18, "Xml-No-Data"
    NO_CHANGE = 19, "No-Change"
    L2_NOT_UP = 20, "L2-Not-Up"
    NOT_SUPPORTED = 21, "Not-Supported"
    MISSING_CALLBACK = 22, "Missing-Callback"
    NOT_CONNECTED = 23, "Not-Connected"
    INVALID_CLIENTID = 24, "Invalid-ClientId"
    VMB_ERROR = 25, "VMB-Error"
    RECORD_DEPRECATED = 26, "record deprecated"
    STATS_NOT_INITED = 27, "stats not init'ed"
    INVALID_EVENT_ID = 28, "invalid event id"
    SYSTEM_NOT_READY = 29, "System not ready"
    RESPONSE_DEFERRED = 30, "Response deferred"
    SUB_SYSTEM_NOT_UP = 31, "Sub-System Not-Up"
    DEPENDENCY_NOT_UP = 32, "Dependency Not-Up"
    SET_VALUE_FAILED_DURING_BOOTUP = 33, "Set value failed during bootup"


class Operation(_Texts):
    """The kind of a set or a notify: `opType` on the socket."""

    INSERT = 1, "Insert"
    UPDATE = 2, "Update"
    DELETE = 3, "Delete"
    SET = 4, "Set"
    ACTION = 5, "Action"


class ApplyAction(_Texts):
    """What applying a change needs."""

    NO_ACTION_REQUIRED = 0, "no-action-required"
    DISABLE_REQUIRED = 1, "disable-required"
    REBOOT_POSSIBLE = 2, "reboot-possible"
    REBOOT_REQUIRED = 3, "reboot-required"


class Severity(_Texts):
    """The severity of an event."""

    CRITICAL = 1, "Critical"
    MAJOR = 2, "Major"
    MINOR = 3, "Minor"
    WARNING = 4, "Warning"
    INDETERMINATE = 5, "Indeterminate"
    CLEARED = 6, "Cleared"


Texts = TypeVar("Texts", bound=_Texts)


def member(kind: type[Texts], number: int) -> Texts | int:
    """The member of this number, or the number itself where there is none."""
    for each in kind:
        if each == number:
            return each
    return number


def number(kind: type[Texts], value: int | str) -> int:
    """A number, or the number of a text, whatever its case. Raises UnknownName."""
    if not isinstance(value, str):
        return int(value)
    for each in kind:
        if each.text.lower() == value.lower():
            return int(each)
    texts = ", ".join(each.text for each in kind)
    raise UnknownName(f"{kind.__name__} {value!r} is not one of {texts}")


def text(kind: type[Texts], number: int) -> str:
    """The text of a number, and `???` where it has none."""
    known = member(kind, number)
    return known.text if isinstance(known, kind) else "???"
