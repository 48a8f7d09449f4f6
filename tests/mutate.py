#!/usr/bin/env python3
"""Puts faults in, one at a time, and says which of them no test notices.

usage: tests/mutate.py [N] [--seed S] [--folders app,records]

Works on a copy of the tree in build-mutate/. What does not compile is not counted. The programs
that test the changed file alone are run first, and all others only where those notice nothing.
"""
import argparse
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
COPY = ROOT / "build-mutate" / "source"
BUILD = ROOT / "build-mutate" / "build"
FOLDERS = ["app", "handlers", "records", "catalogue", "standin"]
FIRST = {"app": ["app", "handlers"], "handlers": ["handlers", "app"],
         "records": ["records", "handlers", "app"], "catalogue": ["records", "handlers", "app"],
         "standin": ["system"]}

# What is looked for in a line of code, and what takes its place.
FAULTS = [(r" == ", " != "), (r" != ", " == "), (r" < ", " <= "), (r" <= ", " < "),
          (r" > ", " >= "), (r" >= ", " > "), (r" && ", " || "), (r" \|\| ", " && "),
          (r" \+ ", " - "), (r" - ", " + "), (r"\+\+", "--"), (r" & ", " | "),
          (r"\btrue\b", "false"), (r"\bfalse\b", "true"), (r"\(!", "("),
          (r"\b(\d+)\b(?![\w'.\"])", lambda match: str(int(match.group(1)) + 1)),
          (r"\bif \((?!constexpr)", "if (false && "), (r"\bif \((?!constexpr)", "if (true || "),
          (r"^(\s+)[\w:.>*-]+(\(.*\)| [-+|]?= .*);$", r"\1;")]


def run(command, limit):
    """Whether the command ends well in time."""
    with subprocess.Popen(command, cwd=BUILD.parent, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, start_new_session=True) as process:
        try:
            return process.wait(limit) == 0
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            return False


def build(*targets):
    return run(["cmake", "--build", str(BUILD), "--target", *targets], 1800)


def passes(program):
    if program == "all":
        return run(["ctest", "--test-dir", str(BUILD), f"-j{os.cpu_count()}",
                    "--stop-on-failure"], 1800)
    return run([str(BUILD / f"{program}_tests"), "--gtest_fail_fast"], 300)


def prepare():
    """Copies what has changed, so that little is built again."""
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, check=True)
    for name in filter(None, listed.stdout.decode().split("\0")):
        source, copy = ROOT / name, COPY / name
        if not source.exists() or (copy.exists() and copy.read_bytes() == source.read_bytes()):
            continue
        copy.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source, copy)
    configure = ["cmake", "-S", str(COPY), "-B", str(BUILD), "-G", "Ninja",
                 "-D", "CMAKE_BUILD_TYPE=Debug", "-D", "CMAKE_CXX_FLAGS_DEBUG=-O0"]
    if not run(configure, 600):
        sys.exit("mutate: the tree cannot be configured")


def require(targets, programs):
    """Without a fault all must build and pass."""
    if not build(*targets) or not all(passes(program) for program in programs):
        sys.exit(f"mutate: without a fault {targets} do not build or {programs} do not pass")


def places(folders):
    """All faults that can be put in: file, line number, the line, and what takes its place."""
    found = []
    for path in sorted(path for folder in folders for path in (ROOT / folder).glob("*.[ch]*")):
        for number, line in enumerate(path.read_text().splitlines()):
            code = line.split("//")[0].rstrip()
            if code.startswith(("#", "template")) or "static_assert" in code:
                continue
            for pattern, replacement in FAULTS:
                for match in re.finditer(pattern, code):
                    # Texts are compared as literals: a fault in one is noticed or is no fault.
                    if code[:match.start()].count('"') % 2 == 0:
                        changed = match.expand(replacement) if isinstance(
                            replacement, str) else replacement(match)
                        found.append((path.relative_to(ROOT), number, line,
                                      code[:match.start()] + changed + code[match.end():]))
    return found


def outcome(fault, targets, programs):
    """The program that notices the fault, "" where none does, None for what does not compile."""
    name, number, _, changed = fault
    copy = COPY / name
    whole = copy.read_text()
    lines = whole.split("\n")
    lines[number] = changed
    copy.write_text("\n".join(lines))
    try:
        if not build(*targets):
            return None
        return next((program for program in programs if not passes(program)), "")
    finally:
        copy.write_text(whole)


def tests_of(programs):
    return [f"{program}_tests" for program in programs]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("count", nargs="?", type=int, default=20)
    parser.add_argument("--seed", type=int, default=int(time.time()))
    parser.add_argument("--folders", default=",".join(FOLDERS))
    arguments = parser.parse_args()
    folders = arguments.folders.split(",")
    prepare()
    units = sorted({program for folder in folders for program in FIRST[folder]})
    require(tests_of(units), units)
    faults = places(folders)
    print(f"seed {arguments.seed}, {len(faults)} places", flush=True)
    random.Random(arguments.seed).shuffle(faults)
    unnoticed, counted = [], 0
    for fault in faults:
        if counted == arguments.count:
            break
        programs = FIRST[fault[0].parts[0]]
        noticed = outcome(fault, tests_of(programs), programs)
        if noticed is None:
            continue
        counted += 1
        print(f"{fault[0]}:{fault[1] + 1}: {noticed or 'not noticed yet'}", flush=True)
        if not noticed:
            unnoticed.append(fault)
    survived = 0
    if unnoticed:
        require(["all"], ["all"])
    for fault in unnoticed:
        noticed = outcome(fault, ["all"], ["all"])
        if noticed == "":
            survived += 1
            name, number, line, changed = fault
            print(f"SURVIVED {name}:{number + 1}\n  - {line.strip()}\n  + {changed.strip()}",
                  flush=True)
    print(f"{counted - survived} of {counted} noticed: "
          f"{100 * (counted - survived) // max(counted, 1)} %")


if __name__ == "__main__":
    main()
