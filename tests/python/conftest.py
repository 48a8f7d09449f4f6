"""What the tests of the package share."""

import os
import pwd
import subprocess
from pathlib import Path

import pytest

SOURCES = Path(__file__).parents[2]

pytest_plugins = ["pytester"]


def pytest_configure(config):
    config.addinivalue_line("markers", "without_daemon: runs for any user")


def pytest_collection_modifyitems(items):
    try:
        able = os.geteuid() in (0, pwd.getpwnam("apps").pw_uid)
    except KeyError:
        able = False
    for item in items:
        if not able and "without_daemon" not in item.keywords:
            item.add_marker(pytest.mark.skip(reason="be root or apps to start the daemon"))


def run(*command, **options):
    """Runs a program, and returns its exit status and what it printed."""
    ended = subprocess.run(command, capture_output=True, text=True, timeout=100, **options)
    return ended.returncode, ended.stdout, ended.stderr
