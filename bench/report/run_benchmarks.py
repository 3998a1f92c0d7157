#!/usr/bin/env python3
"""Runs benchmark programs that are built, one after the other, and keeps what they write.

usage: run_benchmarks.py BUILD RESULTS PROGRAM... [-- OPTION...]
       run_benchmarks.py --compilers ROOT RESULTS PROGRAM...

The first form writes <program>.csv, <program>.targets.csv and <program>.log to RESULTS, passes the
options on and shows what the programs print. The second one runs the programs of the release and
of the clang build in turns, kernels alone on data in L2, and writes CSVs to RESULTS/compilers.
Programs of one thread are bound to the last core. Ends with status 1 if a program did.
"""

import os
import subprocess
import sys
import time
from pathlib import Path

# They spread over the cores themselves.
SEVERAL_THREADS = ("threads_bench", "queries_bench")
COMPILER_ROUNDS = 5
COMPILER_OPTIONS = ["--kernel-only", "--quick", "--filter=/L2"]
NOT_COMPARED = (*SEVERAL_THREADS, "column_memory")


def bind_to_last_core():
    os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})


def run(command: list[str], log, several_threads: bool = False) -> int:
    """Runs a program; its output goes to the log and to standard output."""
    process = subprocess.Popen(
        command,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        preexec_fn=None if several_threads else bind_to_last_core,
    )
    for line in process.stdout:
        log.write(line)
        print(line, end="", flush=True)
    return process.wait()


def run_program(build: Path, results: Path, program: str, options: list[str]) -> int:
    print(f"== {program}", flush=True)
    start = time.monotonic()
    command = [
        str(build / "bench" / program),
        f"--csv={results / program}.csv",
        f"--targets={results / program}.targets.csv",
        *options,
    ]
    with (results / f"{program}.log").open("w") as log:
        status = run(command, log, program in SEVERAL_THREADS)
    print(f"{program}: {time.monotonic() - start:.0f} s", flush=True)
    return status


def run_memory(build: Path, results: Path) -> int:
    print("== column_memory", flush=True)
    file = results / "column_memory.csv"
    with (results / "column_memory.log").open("w") as log:
        status = run([str(build / "bench" / "column_memory"), str(file)], log)
    print(file.read_text() if file.exists() else "", flush=True)
    return status


def run_compilers(root: Path, results: Path, programs: list[str]) -> int:
    builds = {"gcc": root / "build-release", "clang": root / "build-clang"}
    status = 0
    for program in programs:
        if program in NOT_COMPARED:
            continue
        print(f"== {program}, GCC and Clang in turns", flush=True)
        for turn in range(COMPILER_ROUNDS):
            for compiler, build in builds.items():
                folder = results / "compilers" / f"{compiler}-{turn}"
                folder.mkdir(parents=True, exist_ok=True)
                csv = f"--csv={folder / program}.csv"
                with (folder / f"{program}.log").open("w") as log:
                    done = subprocess.run(
                        [str(build / "bench" / program), csv, *COMPILER_OPTIONS],
                        stdout=log,
                        stderr=subprocess.STDOUT,
                        preexec_fn=bind_to_last_core,
                        check=False,
                    )
                status |= done.returncode != 0
    return status


def main(arguments: list[str]) -> int:
    if arguments[:1] == ["--compilers"]:
        return run_compilers(Path(arguments[1]), Path(arguments[2]), arguments[3:])
    options = []
    if "--" in arguments:
        at = arguments.index("--")
        arguments, options = arguments[:at], arguments[at + 1 :]
    build, results, programs = Path(arguments[0]), Path(arguments[1]), arguments[2:]
    results.mkdir(parents=True, exist_ok=True)
    status = 0
    for program in programs:
        if program == "column_memory":
            status |= run_memory(build, results)
        else:
            status |= run_program(build, results, program, options)
    return int(status != 0)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
