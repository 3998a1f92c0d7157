"""Checks that no two types that one program may hold have the same name.

usage: one_definition.py SOURCE_DIR

Members of such types are merged by name when programs are linked, without a word, and which of them
is called depends on what was inlined. Looked at are the types of the library, the toolkit and what
tests share, and those of each test program and the headers beside it, outside unnamed namespaces.
"""

import re
import sys
from collections import defaultdict
from functools import cache
from pathlib import Path

SHARED = ["kernels/*/*.h", "kernels/*/*.cpp", "host/*.h", "host/*.cpp",
          "tests/oracle/*.h", "tests/oracle/*.cpp", "tests/support/*.h", "tests/support/*.cpp",
          "tests/sweep/*.h", "tests/sweep/*.cpp"]
OPENED = re.compile(r"^(?:inline )?namespace ?([\w:]*) ?\{")
CLOSED = re.compile(r"^\}  // namespace")
TYPE = re.compile(r"^(?:struct|class|union|enum class|enum)(?: alignas\(\w+\))? (\w+)(?: final)?"
                  r"(?: : [\w: ]+)? ?\{")


@cache
def types_of(path):
    """The qualified names of the types that a file defines outside unnamed namespaces."""
    names, namespaces = [], []
    for line in path.read_text().splitlines():
        if opened := OPENED.match(line):
            namespaces.append(opened[1])
        elif CLOSED.match(line):
            namespaces.pop()
        elif (found := TYPE.match(line)) and "" not in namespaces:
            names.append("::".join([*namespaces, found[1]]))
    return names


def clashes(files):
    places = defaultdict(list)
    for path in files:
        for name in types_of(path):
            places[name].append(path)
    return {name: paths for name, paths in places.items() if len(paths) > 1}


def main():
    source = Path(sys.argv[1])
    shared = [path for pattern in SHARED for path in sorted(source.glob(pattern))]
    found = clashes(shared)
    for program in sorted(source.glob("tests/*/*_test.cpp")):
        own = [program, *sorted(program.parent.glob("*.h"))]
        found |= clashes([*shared, *(path for path in own if path not in shared)])
    for name, paths in sorted(found.items()):
        print(f"{name} is defined in {' and in '.join(str(p.relative_to(source)) for p in paths)}")
    if not any(types_of(path) for path in shared):
        print("no type is found: this check sees nothing")
        return 1
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
