"""Targets against what was measured, and what bounds those that are missed."""

from explanations import Explanation, explain
from measurements import TargetRow


def cell(text: str) -> str:
    return text.replace("|", "\\|")


def verdict(row: TargetRow) -> str:
    if not row.measured:
        return "not measured"
    return "met" if row.met else "**not met**"


def row_line(row: TargetRow) -> str:
    sign = "at least" if row.asked == ">=" else "at most"
    worst = "" if row.worst is None else f"{row.worst:.2f}"
    cases = f"{row.met_cases} of {row.cases}" if row.measured else ""
    return (
        f"| {cell(row.name)} | {row.size} | {sign} {row.bound:g} | {worst} | {verdict(row)} |"
        f" {cases} | {cell(row.worst_kernel)} |"
    )


def explanation_line(row: TargetRow, why: Explanation) -> str:
    return f"- {row.name}, {row.size} ({row.worst:.2f} for {row.bound:g}): {why.text}"


def program_section(program: str, rows: list[TargetRow], pairs) -> list[str]:
    explained = [
        explanation_line(row, why) for row, why in pairs if row.program == program and why
    ]
    return [
        f"### {program.removesuffix('_bench').replace('_', ' ')}",
        "",
        "| Target | Size | Asked | Worst case | | Cases met | The worst of them |",
        "|---|---|--:|--:|---|--:|---|",
        *map(row_line, rows),
        "",
        *explained,
        *([""] if explained else []),
    ]


def count_line(rows: list[TargetRow]) -> str:
    measured = [row for row in rows if row.measured]
    met = sum(row.met for row in measured)
    cases = sum(row.cases for row in measured)
    met_cases = sum(row.met_cases for row in measured)
    return (
        f"{met} of {len(measured)} targets are met, each by the worst of its cases;"
        f" {met_cases} of {cases} cases."
    )


def targets(rows: list[TargetRow], explanations: list[Explanation]):
    """The sections, and the missed rows that nobody has explained."""
    if not rows:
        return [], []
    pairs, stale = explain(rows, explanations)
    unexplained = [row for row, why in pairs if why is None]
    lines = ["## Targets", "", count_line(rows), ""]
    for program in dict.fromkeys(row.program for row in rows):
        lines += program_section(program, [row for row in rows if row.program == program], pairs)
    if unexplained:
        lines += ["### Not yet explained", ""]
        lines += [f"- {row.program}/{row.name}, {row.size}" for row in unexplained]
        lines += [""]
    if stale:
        lines += ["### Explanations of targets that are met", ""]
        lines += [f"- {each.program}/{each.name}" for each in stale]
        lines += [""]
    return lines, unexplained
