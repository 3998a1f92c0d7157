"""What stands beside each plot: a heading, what it shows, and figures worth naming."""

import math
import os
import re
from pathlib import Path

from figures import into, kilobytes, one_in, threads_of, width_of
from measurements import Case, Measurements, compared


def scan_text(measurements: Measurements) -> str:
    cases = compared(
        measurements.find("dict_scan_bench", r"colx_eq_dict_([2-9]|\d\d)bit", "L2"))
    if not cases:
        return ""
    best = max(cases, key=lambda case: case.rows_per_ns)
    ratio = max(cases, key=lambda case: case.times_scalar)
    return (
        f"Equality reaches {best.rows_per_ns:.0f} billion rows a second in L2 (at"
        f" {width_of(best):.0f} bits) and {ratio.times_scalar:.0f} times the plain loop (at"
        f" {width_of(ratio):.0f} bits). A result is a bit a row and the number of hits."
    )


def unpack_text(measurements: Measurements) -> str:
    return (
        "Codes to elements of 1, 2 or 4 bytes, the narrowest that hold them, or to 4 bytes at any"
        " width."
    )


def crossing(cases: list[Case]) -> str:
    """Where the selective form's cost passes that of the full scan, on logarithmic scales."""
    ladder = sorted((one_in(case), case.of_peer) for case in cases if case.of_peer)
    for (before, cost_before), (after, cost) in zip(ladder, ladder[1:]):
        if cost_before > 1 >= cost:
            part = math.log(cost_before) / (math.log(cost_before) - math.log(cost))
            return f"{before * (after / before) ** part:.0f}"
    if ladder and ladder[0][1] <= 1:
        return f"less than {ladder[0][0]:.0f}"
    return f"more than {ladder[-1][0]:.0f}" if ladder else ""


def selective_text(measurements: Measurements) -> str:
    cases = measurements.find("dict_selective_bench", r"colx_eq_dict_\d+bit 1 in \d+", "L2")
    widths = sorted({width_of(case) for case in cases})
    crossings = {
        width: crossing([case for case in cases if width_of(case) == width]) for width in widths
    }
    return (
        "A scan with a selection may look at the selected rows alone or at all rows and AND. The"
        " former is the cheaper one from one selected row in:\n\n"
        "| Bits | " + " | ".join(f"{width:.0f}" for width in crossings) + " |\n"
        "|---|" + "--:|" * len(crossings) + "\n"
        "| One row in | " + " | ".join(crossings.values()) + " |"
    )


def selective_unpack_text(measurements: Measurements) -> str:
    return "Unpacking the rows of a selection, by blocks of rows or row by row."


def table_text(measurements: Measurements) -> str:
    cases = compared(measurements.find("join_bench", r".* \d+ KB table", "table"))
    if not cases:
        return ""
    small, large = min(cases, key=kilobytes), max(cases, key=kilobytes)
    return (
        f"Keys of 4 bytes with their hash values given. A probe costs {small.cycles:.0f} cycles in"
        f" a table of {kilobytes(small):.0f} KB and {large.cycles:.0f} in one of"
        f" {kilobytes(large) / 1024:.0f} MB, where it is {large.times_scalar:.1f} times as fast as"
        f" the map; reads of as many cache lines at random, which nothing waits for, cost"
        f" {large.limit_cycles:.0f}."
    )


def partition_text(measurements: Measurements) -> str:
    cases = measurements.find(
        "partition_bench", r"colx_partition_rid_hash_values_payload into \d+", "memory")
    many = [case for case in compared(cases) if into(case) >= 256]
    if not many:
        return ""
    worst = min(many, key=lambda case: case.times_scalar)
    return (
        "Hash values and payloads in, records of 16 bytes out. Out of cache and into 256 partitions"
        f" or more the kernel is at least {worst.times_scalar:.1f} times as fast as the plain loop."
    )


def thread_text(measurements: Measurements) -> str:
    joins = compared(measurements.find("threads_bench", r"join of .*", "memory"))
    if not joins:
        return ""
    most = max(joins, key=threads_of)
    return (
        "Kernels share no state, so threads take chunks or partitions as they come. The join is"
        f" {most.times_scalar:.2f} times as fast on {threads_of(most):.0f} threads as on one; scans"
        " end at what the memory gives."
    )


SECTIONS = (
    ("Scans by width", "scan-widths", scan_text),
    ("Unpacking by width", "unpack-widths", unpack_text),
    ("Scans by selectivity", "selective-scans", selective_text),
    ("Unpacking by selectivity", "selective-unpacking", selective_unpack_text),
    ("Probes by table size", "table-sizes", table_text),
    ("Partitioning by number of partitions", "partition-counts", partition_text),
    ("Threads", "thread-counts", thread_text),
)


def plot_sections(measurements: Measurements, pictures: dict[str, Path], folder: Path) -> list[str]:
    lines = []
    for heading, name, text in SECTIONS:
        if name not in pictures:
            continue
        picture = os.path.relpath(pictures[name], folder)
        alternative = re.sub(r"\s+", " ", heading)
        lines += [f"## {heading}", "", text(measurements), "", f"![{alternative}]({picture})", ""]
    return lines
