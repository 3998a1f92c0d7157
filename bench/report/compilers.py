"""Builds of two compilers: the kernels' speed in each, case by case."""

import statistics
from dataclasses import dataclass
from pathlib import Path

from measurements import geometric_mean, read_cases

SLOWER = 1.1  # more than that is marked


@dataclass(frozen=True)
class Comparison:
    program: str
    cases: int
    mean: float  # of Clang's cost for each of GCC's
    gcc_slowest: tuple[float, str]  # cost for each of Clang's, kernel
    clang_slowest: tuple[float, str]

    @property
    def marked(self) -> bool:
        return self.mean > SLOWER or 1 / self.mean > SLOWER


def median_cycles(folder: Path, compiler: str, program: str) -> dict[tuple[str, str], float]:
    """Cycles a row by kernel and size, the median of the runs."""
    runs: dict[tuple[str, str], list[float]] = {}
    for file in sorted(folder.glob(f"{compiler}-*/{program}.csv")):
        for case in read_cases(file):
            runs.setdefault((case.kernel, case.size), []).append(case.cycles)
    return {case: statistics.median(cycles) for case, cycles in runs.items()}


def compare(folder: Path, program: str):
    gcc = median_cycles(folder, "gcc", program)
    clang = median_cycles(folder, "clang", program)
    ratios = {case: clang[case] / cycles for case, cycles in gcc.items() if case in clang}
    if not ratios:
        return None
    low = min(ratios, key=ratios.get)
    high = max(ratios, key=ratios.get)
    return Comparison(
        program,
        len(ratios),
        geometric_mean(ratios.values()),
        (1 / ratios[low], low[0]),
        (ratios[high], high[0]),
    )


def comparisons(folder: Path) -> list[Comparison]:
    programs = sorted({file.stem for file in folder.glob("*/*_bench.csv")})
    return [each for program in programs if (each := compare(folder, program))]


def worst_text(worst: tuple[float, str]) -> str:
    return f"{worst[0]:.2f} ({worst[1]})" if worst[0] > 1 else "none slower"


def row(each: Comparison) -> str:
    mark = " **more than 10 percent**" if each.marked else ""
    family = each.program.removesuffix("_bench").replace("_", " ")
    return (
        f"| {family} | {each.cases} | {each.mean:.3f}{mark} | {worst_text(each.clang_slowest)} |"
        f" {worst_text(each.gcc_slowest)} |"
    )


def compiler_section(folder: Path, names: list[str]) -> list[str]:
    found = comparisons(folder)
    if not found:
        return []
    return [
        "## GCC and Clang",
        "",
        f"The kernels of {' and of '.join(names)}, run in turns on data in L2; costs are medians of"
        " the runs, means geometric. Above 1 the build of Clang is the slower one.",
        "",
        "| Family | Cases | Clang's cost for each of GCC's | Clang's worst case |"
        " GCC's worst case, against Clang |",
        "|---|--:|--:|--:|--:|",
        *map(row, found),
        "",
    ]
