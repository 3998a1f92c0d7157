"""The plots of the report: which cases are drawn, and what the pictures are called."""

import re
from pathlib import Path
from typing import Callable

from measurements import Case, Measurements
from plots import Curve, Panel, draw

SIZE_TITLES = {"L1": "in L1 (32 KB)", "L2": "in L2 (1 MB)", "memory": "out of cache (128 MB)"}
WIDTH_TICS = [
    "set logscale xy",
    "set xrange [0.9:70]",
    "set xtics (1, 2, 3, 4, 6, 8, 12, 16, 24, 32, 64)",
]
NS_ROWS = "billion rows a second"


def points(cases: list[Case], x: Callable[[Case], float], y) -> list:
    return sorted((x(case), y(case)) for case in cases if y(case) is not None)


def width_of(case: Case) -> float:
    return float(re.search(r"(\d+)bit", case.kernel).group(1))


def kernel_speed(case: Case) -> float:
    return case.rows_per_ns


def scalar_speed(case: Case):
    return case.line_rows_per_ns(case.scalar_cycles)


def limit_speed(case: Case):
    return case.line_rows_per_ns(case.limit_cycles)


def millions(case: Case) -> float:
    return 1000 * case.rows_per_ns


def scalar_millions(case: Case):
    return 1000 * scalar_speed(case) if case.scalar_cycles else None


def scan_widths(all_cases: Measurements) -> list[Panel]:
    panels = []
    for size, title in SIZE_TITLES.items():
        equal = all_cases.find("dict_scan_bench", r"colx_eq_dict_\d+bit", size)
        between = all_cases.find("dict_scan_bench", r"colx_ge_lt_dict_\d+bit", size)
        curves = [
            Curve("equality", 1, points(equal, width_of, kernel_speed)),
            Curve("range", 2, points(between, width_of, kernel_speed)),
            Curve("plain loop, equality", 3, points(equal, width_of, scalar_speed)),
            Curve("bandwidth: read and write only", 4, points(equal, width_of, limit_speed)),
        ]
        panels.append(Panel(f"Scans {title}", "bits of a code", NS_ROWS, curves, WIDTH_TICS))
    return panels


def unpack_widths(all_cases: Measurements) -> list[Panel]:
    panels = []
    for size, title in SIZE_TITLES.items():
        cases = all_cases.find("decode_bench", r"colx_decode_unpack_dict_\d+bit to \d", size)
        natural = [case for case in cases if case.kernel.endswith(natural_suffix(case))]
        wide = [case for case in cases if case.kernel.endswith("to 4")]
        curves = [
            Curve("to 1, 2 or 4 bytes by width", 1, points(natural, width_of, kernel_speed)),
            Curve("to 4 bytes", 2, points(wide, width_of, kernel_speed)),
            Curve("plain loop, by width", 3, points(natural, width_of, scalar_speed)),
            Curve("bandwidth, by width", 4, points(natural, width_of, limit_speed)),
        ]
        panels.append(Panel(f"Unpacking {title}", "bits of a code", NS_ROWS, curves, WIDTH_TICS))
    return panels


def natural_suffix(case: Case) -> str:
    width = width_of(case)
    return f"to {1 if width <= 8 else 2 if width <= 16 else 4}"


def one_in(case: Case) -> float:
    return float(re.search(r"1 in (\d+)", case.kernel).group(1))


def percent(case: Case) -> float:
    return float(re.search(r"(\d+)%", case.kernel).group(1))


def selective_scans(all_cases: Measurements) -> list[Panel]:
    panels = []
    for width in (8, 12, 32):
        cases = all_cases.find("dict_selective_bench", rf"colx_eq_dict_{width}bit 1 in \d+", "L2")
        full = lambda case: case.cycles / case.of_peer if case.of_peer else None
        curves = [
            Curve("selected rows only", 1, points(cases, one_in, lambda case: case.cycles)),
            Curve("all rows, then AND", 2, points(cases, one_in, full)),
            Curve("plain loop over selected rows", 3,
                  points(cases, one_in, lambda case: case.scalar_cycles)),
        ]
        settings = ["set logscale xy", "set xtics (4, 16, 64, 256, 1024)", "set xrange [3.5:1200]"]
        panels.append(Panel(f"Scan of {width}-bit codes in L2", "one row selected in",
                            "cycles a row", curves, settings))
    return panels


def selective_unpacking(all_cases: Measurements) -> list[Panel]:
    panels = []
    for width in (8, 13, 32):
        name = rf"colx_decode_unpack_dict_{width}bit to \d, \d+%"
        blocks = all_cases.find("decode_bench", name, "L2")
        walked = all_cases.find("decode_bench", name + " walked", "L2")
        curves = [
            Curve("in blocks of rows", 1, points(blocks, percent, lambda case: case.cycles)),
            Curve("row by row", 2, points(walked, percent, lambda case: case.cycles)),
            Curve("plain loop over selected rows", 3,
                  points(blocks, percent, lambda case: case.scalar_cycles)),
        ]
        tics = "set xtics (1, 2, 5, 10, 25, 50, 90)"
        settings = ["set logscale xy", tics, "set xrange [0.9:100]"]
        panels.append(Panel(f"Unpacking {width}-bit codes in L2", "rows selected, percent",
                            "cycles a row", curves, settings))
    return panels


def kilobytes(case: Case) -> float:
    return float(re.search(r"(\d+) KB table", case.kernel).group(1))


def table_sizes(all_cases: Measurements) -> list[Panel]:
    cases = all_cases.find("join_bench", r".* \d+ KB table", "table")
    curves = [
        Curve("probe", 1, points(cases, kilobytes, lambda case: case.cycles)),
        Curve("std::unordered_multimap", 3,
              points(cases, kilobytes, lambda case: case.scalar_cycles)),
        Curve("independent random reads", 4,
              points(cases, kilobytes, lambda case: case.limit_cycles)),
    ]
    settings = [
        "set logscale xy",
        "set xtics ('16 KB' 16, '256 KB' 256, '4 MB' 4096, '64 MB' 65536, '256 MB' 262144)",
    ]
    return [Panel("Probe of unique keys, every row a hit", "buckets of the table",
                  "cycles a probe", curves, settings)]


def into(case: Case) -> float:
    return float(re.search(r"into (\d+)", case.kernel).group(1))


def partition_counts(all_cases: Measurements) -> list[Panel]:
    panels = []
    for size in ("L2", "memory"):
        cases = all_cases.find(
            "partition_bench", r"colx_partition_rid_hash_values_payload into \d+", size)
        curves = [
            Curve("partitioning", 1, points(cases, into, millions)),
            Curve("plain scatter loop", 3, points(cases, into, scalar_millions)),
        ]
        settings = ["set logscale x 2", "set xtics (2, 8, 32, 128, 512, 2048)", "set yrange [0:*]"]
        panels.append(Panel(f"16-byte records {SIZE_TITLES[size]}", "partitions",
                            "million records a second", curves, settings))
    return panels


def threads_of(case: Case) -> float:
    return float(re.search(r"by (\d+) thread", case.kernel).group(1))


def thread_counts(all_cases: Measurements) -> list[Panel]:
    program = "threads_bench"
    scans = {
        width: all_cases.find(program, rf"scan of {width}-bit codes by .*", "memory")
        for width in (8, 32)
    }
    joins = all_cases.find(program, r"join of .*", "memory")
    gigabytes = lambda case: case.bytes_per_ns
    settings = ["set yrange [0:*]", "set xtics 1", "set xrange [0.8:*]"]
    one = [min(joins, key=threads_of).rows_per_ns * 1000] if joins else []
    ideal = [(threads_of(case), threads_of(case) * one[0]) for case in joins]
    return [
        Panel("Scans of 128 MB of codes", "threads", "GB a second",
              [Curve("scan of 8-bit codes", 1, points(scans[8], threads_of, gigabytes)),
               Curve("scan of 32-bit codes", 2, points(scans[32], threads_of, gigabytes))],
              settings),
        Panel("Join of 64 partitions", "threads", "million rows a second",
              [Curve("build and probe", 5,
                     points(joins, threads_of, lambda case: 1000 * case.rows_per_ns)),
               Curve("one thread, times threads", 4, sorted(ideal))],
              settings),
    ]


FIGURES = {
    "scan-widths": scan_widths,
    "unpack-widths": unpack_widths,
    "selective-scans": selective_scans,
    "selective-unpacking": selective_unpacking,
    "table-sizes": table_sizes,
    "partition-counts": partition_counts,
    "thread-counts": thread_counts,
}


def draw_all(all_cases: Measurements, folder: Path, work: Path) -> dict[str, Path]:
    """The pictures of which there is something to draw, by name."""
    pictures = {}
    for name, panels in FIGURES.items():
        picture = draw(name, panels(all_cases), folder, work)
        if picture is not None:
            pictures[name] = picture
    return pictures
