#!/usr/bin/env python3
# Puts faults in, one at a time, and says which of them no test notices.
#
# A fault in a line that unnoticeable.txt lists, with the reason, does not count where it survives.
#
# usage: tests/mutate.py [N] [--seed S] [--folders app,records]
#
# Works on copies of the tree in build-mutate/, one a processor. What does not compile is not counted.
# The programs that test the changed folder run first, the others only where those notice nothing; a
# program that takes much longer than without a fault has noticed it.
import argparse
import concurrent.futures
import os
import pathlib
import queue
import random
import re
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDERS = ["app", "handlers", "records", "catalogue", "standin"]
PROGRAMS = ["records", "app", "handlers", "standin", "system"]
UNNOTICEABLE = [line.split(" | ") for line in
                (ROOT / "tests/unnoticeable.txt").read_text().splitlines() if " | " in line]

# What is looked for in a line of code, and what takes its place. Not the numbers 0 and 1, which are
# mostly a start or an end, nor the size of an array: hardly ever does another one change anything.
FAULTS = [(r" == ", " != "), (r" != ", " == "), (r" < ", " <= "), (r" <= ", " < "),
          (r" > ", " >= "), (r" >= ", " > "), (r" && ", " || "), (r" \|\| ", " && "),
          (r" \+ ", " - "), (r" - ", " + "), (r"\+\+", "--"), (r" & ", " | "),
          (r"\btrue\b", "false"), (r"\bfalse\b", "true"), (r"\(!", "("),
          (r"(?<!\w\[)\b([2-9]|\d\d+)\b(?![\w'.\"])", lambda match: str(int(match.group(1)) + 1)),
          (r"\bif \((?!constexpr)", "if (false && "), (r"\bif \((?!constexpr)", "if (true || "),
          (r"^(\s+)[\w:.>*-]+(\(.*\)| [-+|]?= .*);$", r"\1;")]


def run(command, limit, output=subprocess.DEVNULL):
    """Whether the command ends well within `limit` seconds."""
    with subprocess.Popen(command, stdout=output, stderr=subprocess.STDOUT, cwd=ROOT,
                          start_new_session=True) as process:
        try:
            return process.wait(limit) == 0
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            return False


class Tree:
    """A copy of the tree and its build; used by one thread at a time."""

    def __init__(self, number):
        self.copy = ROOT / "build-mutate" / str(number)
        self.build_folder = self.copy / "build-mutate"
        self.output = self.copy / "output"
        self.limits = dict.fromkeys(PROGRAMS, 600)
        # Only what has changed, so that little is built again. Without a fault all must pass.
        listed = subprocess.check_output(["git", "ls-files", "-z"], cwd=ROOT, text=True)
        for name in filter(None, listed.split("\0")):
            source, copy = ROOT / name, self.copy / name
            if source.exists() and not (copy.exists()
                                        and copy.read_bytes() == source.read_bytes()):
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, copy)
        if not run(["cmake", "-S", self.copy, "-B", self.build_folder, "-G", "Ninja",
                    "-D", "CMAKE_BUILD_TYPE=Debug", "-D", "CMAKE_CXX_FLAGS_DEBUG=-O0"], 600):
            sys.exit("mutate: the tree cannot be configured")
        for program in PROGRAMS:
            built, start = self.build(program), time.monotonic()
            if not built or self.notices(program):
                sys.exit(f"mutate: without a fault, {program}_tests does not build or pass; "
                         f"see {self.output}")
            self.limits[program] = 10 + 5 * (time.monotonic() - start)

    def build(self, program):
        with self.output.open("w") as output:
            return run(["cmake", "--build", self.build_folder, "--target", f"{program}_tests"],
                       1800, output)

    def notices(self, program):
        """The program's test that fails; "" where all pass."""
        with self.output.open("w") as output:
            if run([self.build_folder / f"{program}_tests", "--gtest_fail_fast"],
                   self.limits[program], output):
                return ""
        text = self.output.read_text(errors="replace")
        failed = re.search(r"FAILED +\] (\S+)", text) or re.search(r"(?s).*RUN +\] (\S+)", text)
        return failed[1] if failed else f"{program}_tests"

    def outcome(self, fault):
        """The test that notices the fault, "" where none does, None for what does not compile."""
        name, number, _, changed = fault
        copy = self.copy / name
        whole = copy.read_text()
        lines = whole.split("\n")
        lines[number] = changed
        copy.write_text("\n".join(lines))
        first = ["standin", "system"] if name.parts[0] == "standin" else []
        try:
            for program in first + [other for other in PROGRAMS if other not in first]:
                if not self.build(program):
                    return None
                if noticed := self.notices(program):
                    return noticed
            return ""
        finally:
            copy.write_text(whole)


def reason(name, line):
    """Why nothing that happens in a line can be noticed; empty where it can."""
    return next((why for file, part, why in UNNOTICEABLE if file == str(name) and part in line), "")


def places(folders):
    """All faults that can be put in: file, line number, the line, and what takes its place."""
    found = []
    for path in sorted(path for folder in folders for path in (ROOT / folder).glob("*.[ch]*")):
        for number, line in enumerate(path.read_text().splitlines()):
            code = line.split("//")[0].rstrip()
            if code.startswith(("#", "template")) or "assert(" in code:
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


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("count", nargs="?", type=int, default=20)
    parser.add_argument("--seed", type=int, default=int(time.time()))
    parser.add_argument("--folders", default=",".join(FOLDERS))
    arguments = parser.parse_args()
    for file, part, _ in UNNOTICEABLE:
        if part not in (ROOT / file).read_text():
            sys.exit(f"mutate: unnoticeable.txt: {file} has no '{part}'")
    faults = places(arguments.folders.split(","))
    print(f"seed {arguments.seed}, {len(faults)} places", flush=True)
    random.Random(arguments.seed).shuffle(faults)
    trees, noticed, unnoticeable, survived = queue.SimpleQueue(), 0, 0, 0

    def attempt(fault):
        tree = trees.get()
        try:
            return tree.outcome(fault)
        finally:
            trees.put(tree)

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for tree in pool.map(Tree, range(os.cpu_count())):
            trees.put(tree)
        for (name, line, before, after), test in zip(faults, pool.map(attempt, faults)):
            if test is None:
                continue
            if test:
                noticed += 1
                print(f"{name}:{line + 1}: {test}", flush=True)
            else:
                why = reason(name, before)
                survived += not why
                unnoticeable += bool(why)
                print(f"{why or 'SURVIVED'}: {name}:{line + 1}\n  - {before.strip()}\n"
                      f"  + {after.strip()}", flush=True)
            if noticed + unnoticeable + survived == arguments.count:
                break
    print(f"{noticed} of {arguments.count} noticed, {unnoticeable} cannot be: "
          f"{100 * noticed // max(noticed + survived, 1)} %")


if __name__ == "__main__":
    main()
