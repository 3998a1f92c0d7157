#!/usr/bin/env python3
"""Writes the report of a benchmark run: tables, plots, targets.

usage: write_report.py RESULTS REPORT [--build FOLDER] [--explanations FILE] [--note TEXT]

RESULTS holds what the run left: <program>.csv, <program>.targets.csv and <program>.log of each
benchmark program, and what there is of facts.json, column_memory.csv, duckdb.csv and compilers/.
REPORT is the Markdown file to write; its plots go to the folder plots beside it. Without a build
folder the report says nothing of the library. Ends with status 1 if the library is too large.
"""

import argparse
import json
import sys
from pathlib import Path

from compilers import compiler_section
from explanations import read_explanations
from extras import (
    duckdb_section,
    library_section,
    library_too_large,
    memory_section,
    query_section,
)
from figures import draw_all
from machine import clock, compiler
from measurements import Measurements
from plot_texts import plot_sections
from summary import summary
from targets import targets


def head(results: Path, note: str) -> list[str]:
    lines = ["# Performance", ""]
    if note:
        lines += [f"**{note}**", ""]
    lines += [
        "`scripts/bench.sh` measured every figure here in one run and wrote this page. Figures that"
        " compare are ratios of lines that took turns in that run, each the median of its rounds.",
        "",
    ]
    if not (results / "facts.json").exists():
        return lines
    facts = json.loads((results / "facts.json").read_text())
    logs = sorted(results.glob("*_bench.log"))
    if logs:
        facts["Clock while measuring"] = clock(logs[0].read_text())
    lines += ["| | |", "|---|---|", *(f"| {name} | {text} |" for name, text in facts.items()), ""]
    return lines


def compiler_names(build: Path) -> list[str]:
    clang = build.parent / "build-clang"
    return [compiler(folder) for folder in (build, clang) if (folder / "CMakeCache.txt").exists()]


def write(arguments) -> int:
    results, report, build = arguments.results, arguments.report, arguments.build
    measurements = Measurements(results)
    pictures = draw_all(measurements, report.parent / "plots", results / "plots")
    library, library_rows = library_section(build) if build else ([], [])
    duckdb, duckdb_targets = duckdb_section(results)
    rows = measurements.targets + duckdb_targets + library_rows
    target_lines, unexplained = targets(rows, read_explanations(arguments.explanations))
    names = compiler_names(build) if build else []
    lines = [
        *head(results, arguments.note),
        *summary(measurements),
        *plot_sections(measurements, pictures, report.parent),
        *query_section(measurements),
        *duckdb,
        *target_lines,
        *memory_section(results),
        *library,
        *compiler_section(results / "compilers", names),
    ]
    report.parent.mkdir(parents=True, exist_ok=True)
    report.write_text("\n".join(lines).rstrip() + "\n")
    for row in unexplained:
        print(f"not yet explained: {row.program}/{row.name}, {row.size}", file=sys.stderr)
    complaint = library_too_large(library_rows)
    if complaint:
        print(complaint, file=sys.stderr)
    return 1 if complaint else 0


def main() -> int:
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("results", type=Path)
    parser.add_argument("report", type=Path)
    parser.add_argument("--build", type=Path)
    parser.add_argument("--explanations", type=Path, default=Path("bench/missed_targets.txt"))
    parser.add_argument("--note", default="")
    return write(parser.parse_args())


if __name__ == "__main__":
    sys.exit(main())
