"""Sections on what no table of kernels shows: library size, memory, whole queries."""

import csv
import re
from pathlib import Path
from typing import Optional

from library_size import LIMIT_BYTES, code_bytes, families
from measurements import Case, Measurements, TargetRow, geometric_mean

DUCKDB_ROW = "each query of flight 1, times DuckDB with one thread"
DUCKDB_ALL = "all queries, geometric mean, times DuckDB with one thread"


def extra_target(name: str, size: str, asked: str, bound: float, worst: float,
                 what: str) -> TargetRow:
    met = worst >= bound if asked == ">=" else worst <= bound
    return TargetRow("whole", name, size, "", asked, bound, worst, int(met), 1, what)


def library_section(build: Path) -> tuple[list[str], list[TargetRow]]:
    library = build / "libcolx_x86.so"
    if not library.exists():
        return [], []
    total = code_bytes(library)
    folders: dict[str, list[tuple[str, int, int]]] = {}
    for name, (code, tables) in families(build).items():
        folder, _, file = name.partition("/")
        folders.setdefault(folder, []).append((file, code, tables))
    lines = [
        "## Library size",
        "",
        f"`libcolx_x86.so` has {total:,} bytes of code; the limit is {LIMIT_BYTES:,}. By family, as"
        " the object files have it:",
        "",
        "| Family | Code, bytes | Tables, bytes | Largest parts |",
        "|---|--:|--:|---|",
    ]
    for folder, files in folders.items():
        largest = sorted(files, key=lambda each: -each[1])[:3]
        parts = ", ".join(f"{file.replace('_', ' ')} {code:,}" for file, code, _ in largest)
        code, tables = (sum(each[i] for each in files) for i in (1, 2))
        lines.append(f"| {folder} | {code:,} | {tables:,} | {parts} |")
    row = extra_target("code of the library, MiB", "", "<=", LIMIT_BYTES >> 20, total / (1 << 20),
                       library.name)
    return lines + [""], [row]


def memory_section(results: Path) -> list[str]:
    file = results / "column_memory.csv"
    if not file.exists():
        return []
    with file.open(newline="") as lines:
        facts = {row["name"]: row["value"] for row in csv.DictReader(lines)}
    gigabyte = float(facts["column_bytes"])
    seconds = float(facts["seconds"])
    peak = float(facts["peak_kib"]) / 1024
    grown = float(facts["peak_kib"]) - float(facts["peak_kib_before"])
    chunks = float(facts["rows"]) / 65536
    calls = float(facts["allocator_calls"])
    return [
        "## Memory",
        "",
        f"A scan of {gigabyte / (1 << 20):,.0f} MiB of column data ({int(facts['rows']):,} rows,"
        f" `{facts['kernel']}`, chunk by chunk through the host toolkit, one thread) takes"
        f" {seconds * 1000:.0f} ms, {gigabyte / seconds / 1e9:.1f} GB a second. The resident set"
        f" peaks at {peak:,.1f} MiB, column included; during the scan it grows by {grown:,.0f} KiB."
        f" Blocks that the kernels took from their host: {facts['host_blocks']}. Calls of the"
        f" allocator by the whole program: {calls:,.0f}, {calls / chunks:.2f} a chunk, all of them"
        " the host toolkit's: the library does not import an allocator.",
        "",
    ]


def query_ms(case: Case) -> str:
    return f"{case.nanoseconds / 1e6:.2f}"


def query_section(measurements: Measurements) -> list[str]:
    cases = [
        case for case in measurements.cases
        if case.program == "queries_bench" and "twice" not in case.kernel
    ]
    if not cases:
        return []
    lines = [
        "## Whole queries",
        "",
        "The thirteen queries of the demo, planning included, data in memory. The last column"
        " compares with SQLite on the same tables; for several threads, with one thread.",
        "",
        "| | Scale | ms | million rows of the fact table a second | times |",
        "|---|---|--:|--:|--:|",
    ]
    for case in cases:
        times = f"{case.times_scalar:.2f}" if case.times_scalar else ""
        speed = f"{1000 * case.rows_per_ns:,.0f}"
        scale = case.size.removeprefix("SF ")
        lines.append(f"| {case.kernel} | {scale} | {query_ms(case)} | {speed} | {times} |")
    return lines + [""]


def duckdb_rows(file: Path) -> list[tuple[str, float]]:
    """How many times as long DuckDB takes, by query; the column whose name speaks of a ratio."""
    with file.open(newline="") as lines:
        table = list(csv.DictReader(lines))
    if not table:
        return []
    columns = list(table[0])
    ratio = next((name for name in columns if re.search(r"ratio|times", name)), columns[-1])
    return [(row[columns[0]], float(row[ratio])) for row in table if row[ratio]]


def duckdb_section(results: Path) -> tuple[list[str], list[TargetRow]]:
    file = results / "duckdb.csv"
    note = results / "duckdb.txt"
    if not file.exists():
        if not note.exists():
            return [], []
        return ["## DuckDB", "", note.read_text().strip(), ""], []
    rows = [row for row in duckdb_rows(file) if re.match(r"Q?\d", row[0], re.IGNORECASE)]
    first = [row for row in rows if re.match(r"Q?1", row[0], re.IGNORECASE)]
    if not first:
        return [], []
    mean = geometric_mean(ratio for _, ratio in rows)
    slowest = min(first, key=lambda row: row[1])
    lines = [
        "## DuckDB",
        "",
        "How many times as long DuckDB takes on the same tables, both with one thread; all answers"
        f" are the same. Geometric mean {mean:.1f}.",
        "",
        "| " + " | ".join(name for name, _ in rows) + " |",
        "|" + "--:|" * len(rows),
        "| " + " | ".join(f"{ratio:.1f}" for _, ratio in rows) + " |",
        "",
    ]
    return lines, [
        extra_target(DUCKDB_ROW, "SF 1", ">=", 5, slowest[1], slowest[0]),
        extra_target(DUCKDB_ALL, "SF 1", ">=", 3, mean, f"{len(rows)} queries"),
    ]


def library_too_large(rows: list[TargetRow]) -> Optional[str]:
    large = [row for row in rows if row.name.startswith("code of the library") and not row.met]
    return f"the library has {large[0].worst:.2f} MiB of code" if large else None
