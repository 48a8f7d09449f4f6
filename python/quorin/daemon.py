"""Starts a daemon on a private socket, and stops it."""

from __future__ import annotations

import os
import pwd
import shutil
import signal
import subprocess
import tempfile
import time
from collections.abc import Iterable
from pathlib import Path

from quorin.catalogue import GROUPS
from quorin.client import Client
from quorin.errors import ConnectionLost, QuorinError, StartError, StopError

ACCOUNT = "apps"
"""The account to which the daemon switches; root or itself must start it."""


class Daemon:
    """A running `quorin`, ready for requests; as a context manager it is stopped at the end.

    `options` are words of its command line. `groups` are those that it registers: all of the
    catalogue where they are left out and no `--group` is among the options. `program` is found in
    PATH and in the folders of system programs where it is left out.

    `auto` has the platform answer the service registration and set indications by itself; `clock` is
    "real", or "manual" where pauses end by `Client.advance` alone; `log_level` is 0 to 8. `timeout`,
    in seconds, bounds the start, the stop, and the waits of its clients.

    Raises StartError. One thread at a time uses it, but threads may have connections each.
    """

    def __init__(
        self,
        *options: str,
        groups: Iterable[int] | None = None,
        program: str | os.PathLike[str] | None = None,
        auto: bool = True,
        clock: str = "real",
        log_level: int = 2,
        timeout: float = 30.0,
    ) -> None:
        self.timeout = timeout
        self._clients: list[Client] = []
        self._output: tuple[str, str] | None = None
        self._told_to_end = False
        words = [*_group_words(options, groups), *options]
        self.command = [_find(program), *words]
        environment = {
            **os.environ,
            "KOR_OAM_AUTO": "1" if auto else "0",
            "KOR_OAM_CLOCK": clock,
            "ZEL_LOG_LEVEL": str(log_level),
        }
        self._folder = _private_folder()
        self.path = str(self._folder / "oam.sock")
        """The path of its socket."""
        try:
            # A pipe that nobody reads would hold up its answers, a file does not.
            with open(self._folder / "out", "wb") as out, open(self._folder / "err", "wb") as err:
                self.process = subprocess.Popen(
                    self.command,
                    env={**environment, "KOR_OAM_SOCKET": self.path},
                    stdin=subprocess.DEVNULL,
                    stdout=out,
                    stderr=err,
                )
        except OSError as error:
            shutil.rmtree(self._folder, ignore_errors=True)
            raise StartError(f"{self.command[0]}: {error}") from error
        try:
            self.client = self._first_client()
            """Its first connection."""
        except BaseException:
            self._told_to_end = True
            self.process.kill()
            self.close()
            raise

    def _first_client(self) -> Client:
        deadline = time.monotonic() + self.timeout
        while True:
            status = self.process.poll()
            if status is not None:
                raise StartError(f"quorin has ended with {_ending(status)}; {self._said()}")
            try:
                client = self.connect()
                client.status()
                return client
            except ConnectionLost:
                pass
            except QuorinError as error:
                raise StartError(f"quorin is not ready: {error}; {self._said()}") from error
            if time.monotonic() > deadline:
                raise StartError(f"quorin is not ready after {self.timeout} s; {self._said()}")
            time.sleep(0.005)

    def connect(self) -> Client:
        """A further connection, for a request at the same time. It is closed with the daemon."""
        self._clients.append(Client(self.path, self.timeout))
        return self._clients[-1]

    @property
    def out(self) -> str:
        """What it has written to standard output so far."""
        return self._output[0] if self._output else _text(self._folder / "out")

    @property
    def err(self) -> str:
        """What it has written to standard error so far."""
        return self._output[1] if self._output else _text(self._folder / "err")

    def _said(self) -> str:
        said = (self.out + self.err).strip()
        return f"it said:\n{said}" if said else "it said nothing"

    def report(self) -> list[tuple[str, str]]:
        """Its output and its journal, each with a title, as far as they can be had."""
        try:
            with Client(self.path, timeout=2) as client:
                journal = "\n".join(map(str, client.journal().entries))
        except QuorinError as error:
            journal = f"cannot be had: {error}"
        return [
            ("command line", " ".join(self.command)),
            ("standard output", self.out),
            ("standard error", self.err),
            ("journal", journal),
        ]

    def stop(self) -> None:
        """Ends it with SIGTERM. Raises StopError where its exit status is not 0, or it hangs."""
        if not self._told_to_end and self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        self._told_to_end = True
        try:
            status = self.process.wait(self.timeout)
        except subprocess.TimeoutExpired:
            self.kill()
            raise StopError(f"quorin did not stop in {self.timeout} s; {self._said()}") from None
        if status != 0:
            raise StopError(f"quorin has ended with {_ending(status)}; {self._said()}")

    def kill(self) -> None:
        """Ends it with SIGKILL, as a crash would."""
        self._told_to_end = True
        self.process.kill()
        self.process.wait()

    def close(self) -> None:
        """Stops it, unless it was stopped or killed, and removes all that it left."""
        try:
            if not self._told_to_end:
                self.stop()
        finally:
            for client in self._clients:
                client.close()
            self.process.wait()
            self._output = (self.out, self.err)
            shutil.rmtree(self._folder, ignore_errors=True)

    def __enter__(self) -> Daemon:
        return self

    def __exit__(self, *exception: object) -> None:
        self.close()


def _group_words(options: Iterable[str], groups: Iterable[int] | None) -> list[str]:
    if groups is None:
        groups = () if any(each.startswith("--group") for each in options) else GROUPS
    words = ":".join(f"{group:#06x}" for group in groups)
    return ["--group", words] if words else []


def _find(program: str | os.PathLike[str] | None) -> str:
    name = os.fspath(program or "quorin")
    folders = os.environ.get("PATH", os.defpath) + ":/usr/local/sbin:/usr/sbin"
    found = shutil.which(name, path=folders)
    if found is None:
        raise StartError(f"there is no program {name} in {folders}")
    return found


def _private_folder() -> Path:
    """A folder that belongs to the account, with a short path: a socket address holds 107 bytes."""
    try:
        account = pwd.getpwnam(ACCOUNT)
    except KeyError:
        raise StartError(
            f'there is no account "{ACCOUNT}", to which quorin switches; as root: '
            f"useradd --system --user-group {ACCOUNT}"
        ) from None
    if os.geteuid() not in (0, account.pw_uid):
        raise StartError(
            f'only root and the account "{ACCOUNT}" can start quorin, and this is '
            f"user {os.geteuid()}; Client connects to one that runs already"
        )
    folder = Path(tempfile.mkdtemp(prefix="quorin-", dir="/tmp"))
    os.chown(folder, account.pw_uid, account.pw_gid)
    return folder


def _text(path: Path) -> str:
    return path.read_text("utf-8", "replace")


def _ending(status: int) -> str:
    return f"signal {-status}" if status < 0 else f"status {status}"
