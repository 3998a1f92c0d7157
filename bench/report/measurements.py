"""What the benchmark programs wrote: a case per kernel and size, a row per target."""

import csv
import math
import re
from dataclasses import dataclass
from pathlib import Path
from typing import Iterable, Optional


def number(text: str) -> Optional[float]:
    return float(text) if text else None


@dataclass(frozen=True)
class Case:
    """A kernel at a size, beside the lines that its program has for it."""

    program: str
    kernel: str
    size: str
    rows: float
    bytes: float
    nanoseconds: float  # of a pass, the median
    cycles: float  # a row
    spread: float
    scalar_cycles: Optional[float]
    limit_cycles: Optional[float]
    times_scalar: Optional[float]
    of_limit: Optional[float]
    peer: str
    of_peer: Optional[float]

    @property
    def rows_per_ns(self) -> float:
        return self.rows / self.nanoseconds

    @property
    def bytes_per_ns(self) -> float:
        return self.bytes / self.nanoseconds

    def line_rows_per_ns(self, cycles: Optional[float]) -> Optional[float]:
        """Speed of another line of the case, of which the cycles of a row are known."""
        return self.rows_per_ns * self.cycles / cycles if cycles else None


@dataclass(frozen=True)
class TargetRow:
    """What is asked of some cases, and the worst of them."""

    program: str
    name: str
    size: str
    figure: str
    asked: str  # ">=" or "<="
    bound: float
    worst: Optional[float]  # none: not measured
    met_cases: int
    cases: int
    worst_kernel: str

    @property
    def measured(self) -> bool:
        return self.worst is not None

    @property
    def met(self) -> bool:
        return self.measured and self.met_cases == self.cases


def read_cases(path: Path) -> list[Case]:
    with path.open(newline="") as file:
        return [
            Case(
                program=path.stem,
                kernel=row["kernel"],
                size=row["size"],
                rows=float(row["rows"]),
                bytes=float(row["bytes"]),
                nanoseconds=float(row["median_ns"]),
                cycles=float(row["cycles_per_row"]),
                spread=float(row["spread"]),
                scalar_cycles=number(row["scalar_cycles_per_row"]),
                limit_cycles=number(row["limit_cycles_per_row"]),
                times_scalar=number(row["ratio_to_scalar"]),
                of_limit=number(row["ratio_to_limit"]),
                peer=row["peer"],
                of_peer=number(row["cost_to_peer"]),
            )
            for row in csv.DictReader(file)
        ]


def read_targets(path: Path) -> list[TargetRow]:
    with path.open(newline="") as file:
        return [
            TargetRow(
                program=path.name.removesuffix(".targets.csv"),
                name=row["target"],
                size=row["size"],
                figure=row["figure"],
                asked=row["asked"],
                bound=float(row["bound"]),
                worst=number(row["worst"]),
                met_cases=int(row["met"]),
                cases=int(row["cases"]),
                worst_kernel=row["worst_kernel"],
            )
            for row in csv.DictReader(file)
        ]


class Measurements:
    """All results in a folder."""

    def __init__(self, folder: Path):
        self.cases: list[Case] = []
        self.targets: list[TargetRow] = []
        for path in sorted(folder.glob("*_bench.csv")):
            self.cases += read_cases(path)
        for path in sorted(folder.glob("*.targets.csv")):
            self.targets += read_targets(path)

    def find(self, program: str, kernels: str, size: str) -> list[Case]:
        """Cases whose whole kernel name matches the regular expression."""
        pattern = re.compile(kernels)
        return [
            case
            for case in self.cases
            if case.program == program and case.size == size and pattern.fullmatch(case.kernel)
        ]


def compared(cases: Iterable[Case]) -> list[Case]:
    """Those that ran beside a plain loop."""
    return [case for case in cases if case.times_scalar]


def geometric_mean(values: Iterable[float]) -> float:
    logs = [math.log(value) for value in values]
    return math.exp(sum(logs) / len(logs))
