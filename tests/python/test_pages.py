"""What the pages of documentation show is what the programs do.

A fenced block of a page is a program: python or sh, in a file whose name its first line says in a
comment, up to a colon. One whose name begins with test_ is for pytest, and passes; the indented lines
after another are all that it prints. What is only shown is indented.
"""

import os
import re
import shlex
import socket
import sys
import textwrap

import pytest
from conftest import SOURCES, run

import quorin

PAGES = [SOURCES / "README.md", *sorted((SOURCES / "docs").glob("*.md"))]
BLOCK = re.compile(r"^```(\w+)\n# (\S+?\.\w+)(.*?)^```\n(.*?)(?=^```|\Z)", re.M | re.S)


def indented(text):
    """The first run of indented lines."""
    found = re.search(r"(?:^    .*\n)+", text, re.M)
    return re.sub(r"^    ", "", found.group(), flags=re.M) if found else ""


EXAMPLES = {
    name: (page.name, language, f"# {name}{program}", indented(rest))
    for page in PAGES
    for language, name, program, rest in BLOCK.findall(page.read_text())
}


def test_every_fenced_block_is_an_example():
    assert sum(page.read_text().count("\n```") for page in PAGES) == 2 * len(EXAMPLES) > 0


@pytest.mark.parametrize("name", EXAMPLES)
def test_an_example_does_what_its_page_says(name, tmp_path):
    for each, (page, _, program, _) in EXAMPLES.items():
        if page == EXAMPLES[name][0]:
            (tmp_path / each).write_text(program)
    _, language, _, output = EXAMPLES[name]
    if name.startswith("test_"):
        command = [sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider", "-p", "quorin.pytest_plugin"]
    else:
        command = [{"python": sys.executable, "sh": "sh"}[language]]
    status, out, err = run(*command, name, cwd=tmp_path)
    assert status == 0, out + err
    if not name.startswith("test_"):
        assert (out, err) == (output, "")


RECIPES = re.findall(r"(?:^    .*\n)+", (SOURCES / "docs/recipes.md").read_text(), re.M)


@pytest.mark.parametrize("recipe", RECIPES)
@pytest.mark.quorin("--send-deferred-set-rsp", clock="manual")
def test_a_recipe_works(quorin_daemon, recipe, tmp_path):
    waiting = ">out & until grep -q deferred out; do sleep 0.1; done\n"
    script = textwrap.dedent(recipe).replace("--requests", "--requests --for 0").replace("&\n", waiting)
    told = run("sh", "-ec", script + "wait $!", cwd=tmp_path,
               env=os.environ | {"KOR_OAM_SOCKET": quorin_daemon.path})  # fmt: skip
    assert told[0] == ("0x12345678" in recipe), told


SECTION = re.compile(r"^## (\S+) \(0x[0-9a-f]+\)\n(.*?)(?=^## )", re.M | re.S)
SECTIONS = dict(SECTION.findall((SOURCES / "docs/records.md").read_text()))


def oamctl(daemon, words):
    return run("oamctl", "--socket", daemon.path, *shlex.split(words))[1]


@pytest.mark.parametrize("record", quorin.RECORDS, ids=lambda each: each.name)
def test_a_record_answers_what_its_table_says(record):
    section = SECTIONS[record.name]
    rows = re.findall(r"^\| `(.*?)` \| (.*?) \|", section, re.M)
    assert {words.split()[0] for words, _ in rows} >= {"get", "get-keys", "set", "notify", "clear"}
    with quorin.Daemon() as daemon:
        for words, answer in rows:
            assert oamctl(daemon, words).splitlines()[0].split(": ", 1)[1] == answer, words
    with quorin.Daemon() as daemon:
        command, output = indented(section).split("\n", 1)
        assert oamctl(daemon, command.removeprefix("$ oamctl ")) == output, command


def test_the_rest_of_that_page_is_what_oamctl_prints():
    assert (SOURCES / "docs/records.md").read_text().endswith(run("oamctl", "records", "--markdown")[1])


@pytest.mark.quorin(groups=[0x111D, 0x111F])
def test_the_lines_of_the_socket_page_are_exchanged(quorin_daemon):
    lines = re.findall(r"^    (-->|<--) (.*)$", (SOURCES / "docs/oam-socket.md").read_text(), re.M)
    assert len(lines) >= 4
    with socket.socket(socket.AF_UNIX) as connection:
        connection.settimeout(30)
        connection.connect(quorin_daemon.path)
        stream = connection.makefile("rw")
        for direction, line in lines:
            if direction == "-->":
                stream.write(line + "\n")
                stream.flush()
            else:
                assert stream.readline() == line + "\n"
