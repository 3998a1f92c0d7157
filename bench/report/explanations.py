"""Why targets are missed: lines `program/glob on the row's name: bound: ...; tried: ...`.

The glob matches a row's name alone or with its size behind a slash, as in "*out of cache/memory".
A line is stale if no missed row matches it. Lines that begin with # are comments.
"""

import fnmatch
from dataclasses import dataclass
from pathlib import Path

from measurements import TargetRow

MARK = ": bound:"


@dataclass
class Explanation:
    program: str
    name: str  # glob
    text: str  # "bound: ...; tried: ..."

    def matches(self, row: TargetRow) -> bool:
        names = (row.name, f"{row.name}/{row.size}")
        return row.program == self.program and any(
            fnmatch.fnmatchcase(name, self.name) for name in names
        )


class ExplanationError(Exception):
    pass


def parse(line: str) -> Explanation:
    place, mark, text = line.partition(MARK)
    program, slash, name = place.partition("/")
    if not mark or not slash or "; tried:" not in text:
        raise ExplanationError(f"no 'program/name: bound: ...; tried: ...': {line}")
    return Explanation(program.strip(), name.strip(), "bound:" + text.rstrip())


def read_explanations(path: Path) -> list[Explanation]:
    if not path.exists():
        return []
    lines = (line.strip() for line in path.read_text().splitlines())
    return [parse(line) for line in lines if line and not line.startswith("#")]


def explain(rows: list[TargetRow], explanations: list[Explanation]):
    """Pairs of a missed row with its explanation or none, and the stale explanations.

    Explanations of programs that have not run are never stale.
    """
    missed = [row for row in rows if row.measured and not row.met]
    pairs = [
        (row, next((each for each in explanations if each.matches(row)), None)) for row in missed
    ]
    ran = {row.program for row in rows}
    stale = [
        each
        for each in explanations
        if each.program in ran and not any(each.matches(row) for row in missed)
    ]
    return pairs, stale
