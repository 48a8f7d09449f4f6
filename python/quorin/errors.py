"""What can go wrong. Every error of this package is a QuorinError, and its text says what to look at.

A management result other than 0 is an answer, not an error, unless it is asked for with
`Reply.check`.
"""

from __future__ import annotations


class QuorinError(Exception):
    """The base of all errors of this package."""


class UnknownName(QuorinError, LookupError):
    """The catalogue has no record, key, field or enumeration text of this name."""


class FieldError(QuorinError, ValueError):
    """A value that a field cannot carry. `record` and `field` name the field."""

    def __init__(self, record: str, field: str, problem: str) -> None:
        super().__init__(f"{record}: {field} {problem}")
        self.record = record
        self.field = field


class BlockError(QuorinError, ValueError):
    """A block that does not read. `record` and `field` name the place; `offset` is its first byte."""

    def __init__(self, record: str, field: str, offset: int, problem: str) -> None:
        super().__init__(f"{record}: {field} at byte {offset} {problem}")
        self.record = record
        self.field = field
        self.offset = offset


class ResultError(QuorinError):
    """`Reply.check` found another result than Success. `result` is its number."""

    def __init__(self, text: str, result: int) -> None:
        super().__init__(text)
        self.result = result


class RequestError(QuorinError):
    """The daemon refused a request as such. `code` is the JSON-RPC error code."""

    def __init__(self, method: str, code: int, message: str) -> None:
        super().__init__(f"{method}: {message} ({code})")
        self.method = method
        self.code = code


class NoReply(QuorinError, TimeoutError):
    """Nothing came in time. The connection goes on; a reply that comes late is dropped."""


class ConnectionLost(QuorinError, ConnectionError):
    """Nobody serves the path, or the connection has ended."""


class BadReply(QuorinError):
    """The daemon sent something that makes no sense."""


class StartError(QuorinError):
    """A daemon did not start: the text has the reason and its output."""


class StopError(QuorinError):
    """A daemon did not stop when it was told to, or ended by itself, or not with status 0."""
