#!/usr/bin/env python3
"""Brings up to date what repeats the catalogue: python/quorin/catalogue.json and docs/records.md.

A record without a section in docs/records.md gets one, with what it answers now; its author says what
that means. Argument: the folder of the programs.
"""

import os
import pathlib
import subprocess
import sys

SOURCES = pathlib.Path(__file__).resolve().parents[1]
PAGE = SOURCES / "docs/records.md"
AFTER_THE_RECORDS = "## What the daemon sends by itself\n"
AFTER_THE_SECTIONS = "## All fields\n"

os.environ["PATH"] = f"{pathlib.Path(sys.argv[1]).resolve()}:{os.environ['PATH']}"
sys.path.insert(0, str(SOURCES / "python"))


def oamctl(*words):
    ended = subprocess.run(["oamctl", *words], stdout=subprocess.PIPE, text=True)
    if ended.returncode > 1:
        sys.exit(f"oamctl {' '.join(words)}: exit status {ended.returncode}")
    return ended.stdout


def heading(record):
    return f"## {record.name} ({record.id:#x})\n"


def section(record):
    """The commands of a record, and what a daemon that has just started answers."""
    keys = [f"{key.name}={max(key.min, 1)}" for key in record.keys]
    gets = [["get", record.name], ["get", record.name, *keys]] if keys else [["get", record.name]]
    with quorin.Daemon("--quiet") as daemon:
        example = oamctl("--socket", daemon.path, *gets[-1])
    text = heading(record) + "\n| Command | Answer | What it does |\n|---|---|---|\n"
    with quorin.Daemon("--quiet") as daemon:
        for words in [*gets, *([each, record.name] for each in ("get-keys", "set", "notify", "clear"))]:
            answer = oamctl("--socket", daemon.path, *words).splitlines()[0].split(": ", 1)[1]
            text += f"| `{' '.join(words)}` | {answer} | |\n"
    shown = f"$ oamctl {' '.join(gets[-1])}\n{example}"
    return text + "\n" + "".join(f"    {line}\n" for line in shown.splitlines()) + "\n"


(SOURCES / "python/quorin/catalogue.json").write_text(oamctl("--json", "records"))
import quorin  # noqa: E402  It reads that file.

page = PAGE.read_text()
following = AFTER_THE_RECORDS
for each in sorted(quorin.RECORDS, key=lambda record: -record.id):
    if heading(each) not in page:
        page = page.replace(following, section(each) + following)
    following = heading(each)
page = page[: page.index(AFTER_THE_SECTIONS)] + oamctl("records", "--markdown")
PAGE.write_text(page)
