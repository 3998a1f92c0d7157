"""Checks that the pages of docs/ quote programs that are compiled, and print what they print.

usage: quote_programs.py SOURCE_DIR PROGRAM_DIR LIBRARY

A block of C or C++ stands below a line <!-- FILE: REGION --> and is, to the letter, what FILE has
between the lines "// region: REGION" and "// end"; or it stands below <!-- FILE --> and is a run of
whole lines of FILE. A block of text below <!-- FILE prints --> is a run of whole lines of what the
program of FILE prints. A page that quotes a program marks all its blocks of text. Every region of
the programs in examples/guide is quoted by some page, and every one of those programs ends with
status 0.
"""

import re
import subprocess
import sys
import textwrap
from pathlib import Path

FENCE = re.compile(r"^```(\w*)$")
QUOTE = re.compile(r"^<!-- (\S+): (\w+) -->$")
LINES = re.compile(r"^<!-- (\S+) -->$")
PRINTS = re.compile(r"^<!-- (\S+) prints -->$")


def blocks_of(page):
    """Yields (line number, language, text, the line above) of each fenced block."""
    lines = page.read_text().splitlines()
    at = 0
    while at < len(lines):
        fence = FENCE.match(lines[at])
        if not fence:
            at += 1
            continue
        end = at + 1
        while end < len(lines) and lines[end] != "```":
            end += 1
        above = lines[at - 1] if at else ""
        yield at + 1, fence.group(1), "\n".join(lines[at + 1 : end]), above
        at = end + 1


def regions_of(file):
    regions, name, held = {}, None, []
    for line in file.read_text().splitlines():
        mark = re.match(r"\s*// region: (\w+)$", line)
        if mark:
            name, held = mark.group(1), []
        elif name and re.match(r"\s*// end$", line):
            regions[name] = textwrap.dedent("\n".join(held))
            name = None
        elif name:
            held.append(line)
    return regions


class Programs:
    def __init__(self, source, folder, library):
        self.source, self.folder, self.library = source, folder, library
        self.outputs, self.regions, self.quoted = {}, {}, set()

    def quoted_region(self, name, region):
        self.quoted.add((name, region))
        if name not in self.regions:
            file = self.source / name
            self.regions[name] = regions_of(file) if file.is_file() else {}
        return self.regions[name].get(region)

    def output(self, name):
        """What the program of a file prints; None if there is none or it fails."""
        if name not in self.outputs:
            program, self.outputs[name] = self.folder / Path(name).stem, None
            if program.is_file():
                run = subprocess.run([program, self.library], capture_output=True, text=True,
                                     timeout=300)
                self.outputs[name] = run.stdout if run.returncode == 0 else None
        return self.outputs[name]


def faults_of(page, programs):
    found = list(blocks_of(page))
    quotes = any(QUOTE.match(above) or PRINTS.match(above) for _, _, _, above in found)
    for line, language, text, above in found:
        where = f"{page.name}:{line}"
        if language in ("c", "cpp"):
            lines = LINES.match(above)
            if lines:
                file = programs.source / lines.group(1)
                if not file.is_file() or f"\n{text}\n" not in f"\n{file.read_text()}":
                    yield f"{where}: these are no lines of {lines.group(1)}"
                continue
            mark = QUOTE.match(above)
            if not mark:
                yield f"{where}: a block of code below no <!-- FILE: REGION -->"
                continue
            region = programs.quoted_region(*mark.groups())
            if region is None:
                yield f"{where}: {mark.group(1)} has no region {mark.group(2)}"
            elif region != text:
                yield f"{where}: is not region {mark.group(2)} of {mark.group(1)}"
        elif language == "text" and quotes:
            mark = PRINTS.match(above)
            if not mark:
                yield f"{where}: a block of text below no <!-- FILE prints -->"
            elif f"\n{text}\n" not in f"\n{programs.output(mark.group(1))}":
                yield f"{where}: {mark.group(1)} prints something else:\n" + str(
                    programs.output(mark.group(1)))


def main():
    source = Path(sys.argv[1])
    programs = Programs(source, Path(sys.argv[2]), sys.argv[3])
    faults = [fault for page in sorted((source / "docs").glob("*.md"))
              for fault in faults_of(page, programs)]
    for file in sorted((source / "examples/guide").glob("*.cpp")):
        name = f"examples/guide/{file.name}"
        if programs.output(name) is None:
            faults.append(f"{name} does not end with status 0")
        for region in regions_of(file):
            if (name, region) not in programs.quoted:
                faults.append(f"{name}: no page quotes region {region}")
    print("\n".join(faults) or "every block is a program's")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
