"""Drives the Quorin test target daemon: a client, a daemon of one's own, and fixtures for pytest.

    from quorin import Daemon

    with Daemon("--error-string", "the disk is full") as daemon:
        reply = daemon.client.get("Test3-Stats5")
        print(reply.text, reply.error_string, reply.records[0]["testField1"])
"""

from quorin.catalogue import ANY, GROUPS, NOTIFICATIONS, RECORDS, Record, decode, record_type
from quorin.catalogue import FieldType, NotificationType, RecordType, notification_type
from quorin.client import Client, Fault, Request
from quorin.daemon import Daemon
from quorin.enums import ApplyAction, Operation, Result, Severity
from quorin.errors import (
    BadReply,
    BlockError,
    ConnectionLost,
    FieldError,
    NoReply,
    QuorinError,
    RequestError,
    ResultError,
    StartError,
    StopError,
    UnknownName,
)
from quorin.messages import (
    Advance,
    GetKeysReply,
    GetReply,
    Journal,
    JournalEntry,
    Notification,
    Reply,
    SetReply,
)

__all__ = [
    "ANY",
    "GROUPS",
    "NOTIFICATIONS",
    "RECORDS",
    "Advance",
    "ApplyAction",
    "BadReply",
    "BlockError",
    "Client",
    "ConnectionLost",
    "Daemon",
    "Fault",
    "FieldError",
    "FieldType",
    "GetKeysReply",
    "GetReply",
    "Journal",
    "JournalEntry",
    "NoReply",
    "Notification",
    "NotificationType",
    "Operation",
    "QuorinError",
    "Record",
    "RecordType",
    "Reply",
    "Request",
    "RequestError",
    "Result",
    "ResultError",
    "SetReply",
    "Severity",
    "StartError",
    "StopError",
    "UnknownName",
    "decode",
    "notification_type",
    "record_type",
]
