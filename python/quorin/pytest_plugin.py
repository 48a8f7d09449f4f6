"""Fixtures for pytest: a daemon for each test that asks for one.

    @pytest.mark.quorin("--mgmt-result", "12", clock="manual")
    def test_something(quorin_client): ...

The arguments of the marker are those of `quorin.Daemon`. Markers of a class or a module count, too:
the options add up, and of a keyword the nearest holds. When a test fails, its report has the output
and the journal of its daemon.
"""

from __future__ import annotations

from collections.abc import Generator, Iterator
from typing import Any

import pytest

from quorin.client import Client
from quorin.daemon import Daemon

_DAEMON = pytest.StashKey[Daemon]()


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line(
        "markers", "quorin(*options, **settings): the arguments of the test's quorin.Daemon"
    )


@pytest.fixture
def quorin_daemon(request: pytest.FixtureRequest) -> Iterator[Daemon]:
    """A daemon of the test's own. It must still run at the end, and stop with exit status 0,
    unless the test stopped it or killed it."""
    options: list[str] = []
    settings: dict[str, Any] = {}
    for marker in reversed(list(request.node.iter_markers("quorin"))):
        options += marker.args
        settings |= marker.kwargs
    with Daemon(*options, **settings) as daemon:
        request.node.stash[_DAEMON] = daemon
        yield daemon


@pytest.fixture
def quorin_client(quorin_daemon: Daemon) -> Client:
    """The first connection to that daemon."""
    return quorin_daemon.client


@pytest.hookimpl(hookwrapper=True)  # type: ignore[misc]
def pytest_runtest_makereport(item: pytest.Item) -> Generator[None, Any, None]:
    outcome = yield
    report: pytest.TestReport = outcome.get_result()
    daemon = item.stash.get(_DAEMON, None)
    if daemon is not None and report.failed and report.when != "teardown":
        report.sections += [
            (f"quorin: {title}", text) for title, text in daemon.report() if text
        ]
