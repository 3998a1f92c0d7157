#!/usr/bin/env python3
"""Makes deliberate faults in the kernels, one at a time, and shows which test notices each.

usage: mutate.py SOURCE WORK [--report FILE] [--jobs N] [--check] [NAME-PART]...

The faults stand in the *.txt files beside this program:

    tests <programs>            run for the faults below, until one fails: first the one that
                                noticed the fault by docs/mutations.md, then in this order
    fault <what is wrong>
    in <file under kernels/>
    - <code to replace: one line or more, anywhere once in the file>
    + <what stands there instead>

SOURCE is copied to WORK/source and built in WORK/build, so nothing in SOURCE changes. A fault is
noticed if a test program fails, crashes or hangs; one that does not compile is an error of the
list. With NAME-PARTs only faults whose file of faults or text has one of them are made. --check
only looks whether the code that each fault replaces is there, once.
"""

import argparse
import dataclasses
import pathlib
import re
import shutil
import subprocess
import sys
import time

SECONDS_PER_TEST = 180


@dataclasses.dataclass
class Fault:
    family: str
    text: str
    tests: list
    file: str = ""
    old: list = dataclasses.field(default_factory=list)
    new: list = dataclasses.field(default_factory=list)
    builds: bool = True
    notice: str = ""  # the test that failed


def read_faults(folder):
    faults = []
    for path in sorted(folder.glob("*.txt")):
        tests = []
        for line in path.read_text().splitlines():
            key, _, rest = line.partition(" ")
            if key == "tests":
                tests = rest.split()
            elif key == "fault":
                faults.append(Fault(path.stem, rest, tests))
            elif key == "in":
                faults[-1].file = "kernels/" + rest
            elif key == "-":
                faults[-1].old.append(rest.strip())
            elif key == "+":
                faults[-1].new.append(rest)
            elif line.strip():
                sys.exit(f"{path}: cannot read: {line}")
    return faults


def with_fault(source, fault):
    """The text of the file with the fault in it."""
    text = (source / fault.file).read_text()
    pattern = r"\s+".join(re.escape(line) for line in fault.old)
    found = list(re.finditer(pattern, text))
    if len(found) != 1:
        sys.exit(f"{fault.family}: {fault.text}: found {len(found)} times in {fault.file}")
    return text[: found[0].start()] + "\n".join(fault.new) + text[found[0].end() :]


def put_noticing_tests_first(faults, path):
    """By an earlier report: most faults then take one program to build and run."""
    if not path.exists():
        return
    noticed_by = {}
    for line in path.read_text().splitlines():
        cells = [cell.strip() for cell in line.replace("\\|", "\0").split("|")]
        if len(cells) == 5:
            noticed_by[cells[1].replace("\0", "|"), cells[2]] = cells[3].split(" ")[0]
    for fault in faults:
        first = noticed_by.get((fault.text, fault.file.removeprefix("kernels/")))
        fault.tests = sorted(fault.tests, key=lambda test: test.partition(":")[0] != first)


def copy_tree(source, work):
    copy = work / "source"
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=source,
                            check=True, capture_output=True, text=True).stdout.split()
    for name in listed:
        old, new = source / name, copy / name
        if not old.is_file():
            continue
        if new.exists() and new.read_bytes() == old.read_bytes():
            continue
        new.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(old, new)
    for old in list(copy.rglob("*.cpp")) + list(copy.rglob("*.h")):
        if str(old.relative_to(copy)) not in listed:
            old.unlink()
    return copy


def build(work, jobs, targets):
    command = ["cmake", "--build", work / "build", "-j", str(jobs), "--target", *targets]
    return subprocess.run(command, capture_output=True, text=True)


def first_failing_test(work, tests):
    for test in tests:
        name, _, flt = test.partition(":")
        command = [work / "build/tests" / name, "--gtest_brief=1"]
        if flt:
            command.append("--gtest_filter=" + flt)
        try:
            ran = subprocess.run(command, capture_output=True, timeout=SECONDS_PER_TEST)
            if ran.returncode != 0:
                return name
        except subprocess.TimeoutExpired:
            return name + " (hangs)"
    return ""


def programs(tests):
    return [test.partition(":")[0] for test in tests]


def try_fault(copy, work, jobs, fault):
    path = copy / fault.file
    honest = path.read_text()
    path.write_text(with_fault(copy, fault))
    try:
        # Programs one after the other: most faults are noticed by the first.
        for test in fault.tests:
            built = build(work, jobs, programs([test]))
            if built.returncode != 0:
                print(built.stdout[-3000:])
                fault.builds = False
                return
            fault.notice = first_failing_test(work, [test])
            if fault.notice:
                return
    finally:
        path.write_text(honest)


def report(faults, path):
    noticed = sum(1 for fault in faults if fault.notice)
    lines = [
        "# Deliberate faults",
        "",
        f"{len(faults)} faults in the kernels, made one at a time; the tests notice {noticed} of "
        "them. Made by",
        "`scripts/mutate.sh`, which changes a copy of the tree, builds it with -O1 and runs the",
        "family's tests until one fails. The faults stand in `tests/mutation/`.",
        "",
    ]
    for family in dict.fromkeys(fault.family for fault in faults):
        lines += [f"## {family}", "", "| Fault | File | Noticed by |", "| --- | --- | --- |"]
        for fault in faults:
            if fault.family == family:
                text = fault.text.replace("|", "\\|")
                file = fault.file.removeprefix("kernels/")
                lines.append(f"| {text} | {file} | {fault.notice or '**nothing**'} |")
        lines.append("")
    pathlib.Path(path).write_text("\n".join(lines).rstrip() + "\n")


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("source", type=pathlib.Path)
    parser.add_argument("work", type=pathlib.Path)
    parser.add_argument("--report")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--check", action="store_true")
    parser.add_argument("names", nargs="*")
    options = parser.parse_intermixed_args()

    faults = read_faults(options.source / "tests/mutation")
    if options.names:
        faults = [fault for fault in faults
                  if any(part in fault.family + ": " + fault.text for part in options.names)]
    if not faults:
        sys.exit(f"no fault has {' or '.join(options.names)} in the name of its list or its text")
    for fault in faults:
        with_fault(options.source, fault)
    if options.check:
        print(f"{len(faults)} faults can be made")
        return 0
    put_noticing_tests_first(faults, options.source / "docs/mutations.md")
    copy = copy_tree(options.source.resolve(), options.work.resolve())
    work = options.work.resolve()
    configured = subprocess.run(
        ["cmake", "-G", "Ninja", "-S", copy, "-B", work / "build", "-DCMAKE_BUILD_TYPE=Mutation",
         "-DCMAKE_CXX_FLAGS_MUTATION=-O1", "-DCOLX_TESTS=ON"], capture_output=True, text=True)
    if configured.returncode != 0:
        sys.exit(configured.stdout[-2000:] + configured.stderr[-2000:])
    tests = list(dict.fromkeys(test for fault in faults for test in fault.tests))
    built = build(work, options.jobs, programs(tests))
    if built.returncode != 0:
        sys.exit("the tests do not build:\n" + built.stdout[-3000:])
    for test in tests:
        failing = first_failing_test(work, [test])
        if failing:
            sys.exit(f"{failing} fails without any fault")
    for number, fault in enumerate(faults, 1):
        start = time.monotonic()
        try_fault(copy, work, options.jobs, fault)
        verdict = f"killed by {fault.notice}" if fault.notice else "SURVIVED"
        if not fault.builds:
            verdict = "DOES NOT BUILD"
        print(f"{number}/{len(faults)} {fault.family}: {fault.text}: {verdict} "
              f"({time.monotonic() - start:.0f} s)", flush=True)
    if options.report:
        report(faults, options.report)
    survivors = [fault for fault in faults if not fault.notice]
    print(f"{len(faults)} faults, {len(survivors)} survived")
    return 1 if survivors else 0


if __name__ == "__main__":
    sys.exit(main())
