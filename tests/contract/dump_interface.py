#!/usr/bin/env python3
"""Prints the exported interface: records with sizes and offsets, numbers of enumerations, call
shapes, exported symbols.

usage: dump_interface.py OBJECT LIBRARY [--check FILE]

OBJECT is interface_types.c compiled with -g -fno-eliminate-unused-debug-types. With --check the
dump is compared with FILE: a difference is a change of what hosts were compiled against.
"""

import difflib
import re
import subprocess
import sys


class Entry:
    """A debugging entry: its tag, attributes and children."""

    def __init__(self, tag):
        self.tag, self.attributes, self.children = tag, {}, []

    def number(self, name, otherwise=0):
        text = self.attributes.get(name)
        return int(text.split()[0], 0) if text else otherwise

    @property
    def name(self):
        return self.attributes.get("name", "")


def read_entries(object_file):
    text = subprocess.run(["readelf", "--debug-dump=info", object_file], check=True,
                          capture_output=True, text=True).stdout
    entries, stack = {}, {}
    entry = None
    for line in text.splitlines():
        begin = re.match(r" *<([0-9a-f]+)><([0-9a-f]+)>: Abbrev Number: \d+ \(DW_TAG_(\w+)\)", line)
        if begin:
            depth, place = int(begin[1], 16), begin[2]
            entry = entries[place] = stack[depth] = Entry(begin[3])
            if depth > 0:
                stack[depth - 1].children.append(entry)
            continue
        attribute = re.match(r" *<[0-9a-f]+> +DW_AT_(\w+) *: (?:\([^)]*\): )?(.*)", line)
        if attribute and entry:
            entry.attributes[attribute[1]] = attribute[2].strip()
    return entries


def type_name(entries, entry):
    """A type as C would say it, near enough to tell two apart."""
    reference = entry.attributes.get("type")
    target = entries[reference.strip("<>").removeprefix("0x")] if reference else None
    inner = type_name(entries, target) if target else "void"
    if entry.tag in ("typedef", "base_type"):
        return entry.name
    if entry.tag == "structure_type":
        return "struct " + entry.name
    if entry.tag == "union_type":
        return "union " + entry.name
    if entry.tag == "enumeration_type":
        return "enum " + entry.name
    if entry.tag == "const_type":
        return inner + " const"
    if entry.tag == "pointer_type":
        return inner + "*"
    if entry.tag == "array_type":
        return inner + "".join(f"[{c.number('upper_bound') + 1}]" for c in entry.children)
    if entry.tag == "subroutine_type":
        parameters = ", ".join(type_name(entries, c) for c in entry.children)
        return f"{inner}({parameters or 'void'})"
    return inner  # member, formal_parameter


def members(entries, record, base=0):
    for member in record.children:
        if member.tag != "member":
            continue
        offset = base + member.number("data_member_location")
        if member.name:
            yield f"  {offset:4} {member.name}: {type_name(entries, member)}"
        else:
            place = member.attributes["type"].strip("<>").removeprefix("0x")
            yield from members(entries, entries[place], offset)


def types(entries):
    for entry in entries.values():
        if entry.tag == "structure_type" and entry.name.startswith("colx_"):
            yield f"record {entry.name}, {entry.number('byte_size')} bytes"
            yield from members(entries, entry)
        if entry.tag == "typedef" and entry.name.startswith("colx_"):
            reference = entry.attributes["type"].strip("<>").removeprefix("0x")
            yield f"type {entry.name}: {type_name(entries, entries[reference])}"
        if entry.tag == "enumerator" and entry.name.startswith("COLX_"):
            yield f"number {entry.name}: {entry.number('const_value')}"


def symbols(library):
    listed = subprocess.run(["nm", "-D", "-S", "--defined-only", library], check=True,
                            capture_output=True, text=True).stdout
    for line in sorted(listed.splitlines(), key=lambda line: line.split()[-1]):
        _, size, kind, name = line.split()
        if kind.upper() == "T":
            yield f"function {name}"
        else:
            yield f"data {name}, {int(size, 16)} bytes"


def main():
    if len(sys.argv) not in (3, 5) or (len(sys.argv) == 5 and sys.argv[3] != "--check"):
        sys.exit(__doc__)
    dump = [*types(read_entries(sys.argv[1])), *symbols(sys.argv[2])]
    if len(sys.argv) == 3:
        print("\n".join(dump))
        return
    with open(sys.argv[4], encoding="ascii") as file:
        frozen = file.read().splitlines()
    changes = list(difflib.unified_diff(frozen, dump, "frozen", "built", lineterm="", n=0))
    if changes:
        sys.exit("the exported interface has changed:\n" + "\n".join(changes))


if __name__ == "__main__":
    main()
