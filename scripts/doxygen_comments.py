#!/usr/bin/env python3
"""Marks the plain comments of a header for doxygen, on standard output.

usage: doxygen_comments.py HEADER

The comment that a file begins with describes the file, one straight above a declaration or beside
it describes that declaration, and one above overloads that follow each other describes them all.
Indented lines of a comment are a drawing or a piece of code. Lines stay where they are up to the
first comment that is repeated.
"""

import re
import sys

SPECIAL = re.compile(r"([\\@&<>#%])")
DECLARED_FUNCTION = re.compile(r"\b(\w+|operator\S+)\(")


def marked(text):
    """The words of a comment, nothing in them being a command or a tag of doxygen's."""
    parts = text.split("`")  # between backquotes characters already stand for themselves
    return "`".join(part if k % 2 else SPECIAL.sub(r"\\\1", part) for k, part in enumerate(parts))


def block(lines, indent, last=""):
    """A comment of `lines` above a declaration; what is indented in it comes out as it stands."""
    out, drawing = [], False
    for line in lines:
        is_drawn = line.startswith("  ") or (drawing and line == "")
        if is_drawn and not drawing:
            if out and not out[-1]:
                out[-1] = "\\verbatim"
            else:
                line = "\\verbatim " + line
        elif not is_drawn:
            line = ("\\endverbatim " if drawing else "") + marked(line.strip())
        drawing = is_drawn
        out.append(line)
    if drawing:
        last = " \\endverbatim" + last
    out[0] = f"{indent}/*! {out[0]}"
    out[-1] += last + " */"
    return out


def plain_lines(source):
    """(kind, indent, code, text) of each line, with C comments cut into lines of their own."""
    inside = False
    for line in source:
        if inside:
            body, inside = line, "*/" not in line
            body = re.sub(r"^\s*\*? ?", "", body.split("*/")[0], count=1)
            yield "more", "", "", body.rstrip()
            continue
        match = re.match(r"^(\s*)(.*?)\s*(?://(?!/)|/\*)(?: (.*)|)$", line)
        if not match or match[2].startswith("#") or '"' in match[2]:
            yield "code", "", line, ""
            continue
        text = match[3] or ""
        is_c = "/*" in line[match.end(2):]
        if is_c and "*/" in text:
            text = text.split("*/")[0].rstrip()
        elif is_c:
            inside = True
        yield ("beside" if match[2] else "above"), match[1], match[2], text


def declared_name(code):
    match = DECLARED_FUNCTION.search(code)
    return match[1] if match else ""


def is_directive(code):
    return code.startswith("#") and not code.startswith("#define")


def without_instantiations(source):
    """Explicit instantiations of templates declare nothing new."""
    inside = False
    for line in source:
        inside = inside or line.startswith("extern template")
        yield "" if inside else line
        inside = inside and not line.endswith(";")


def main():
    with open(sys.argv[1], encoding="utf-8") as header:
        rows = list(plain_lines(without_instantiations(header.read().splitlines())))
    out, at, overloads, comment = [], 0, "", []
    while at < len(rows):
        kind, indent, code, text = rows[at]
        if kind == "above" or kind == "more":
            lines, end = [text], at + 1
            while end < len(rows) and rows[end][0] in ("above", "more"):
                lines.append(rows[end][3])
                end += 1
            heads_file = at == 0
            follows = rows[end][2].strip() if end < len(rows) else ""
            if heads_file:
                out += block(lines, "", " \\file")
            elif follows and not lines[0].startswith("-----") and not is_directive(follows):
                comment = block(lines, indent)
                out += comment
                overloads = declared_name(follows)
            else:
                out += [""] * len(lines)
            at = end
            continue
        if kind == "beside" and code.strip() == "}":
            out.append(code)
        elif kind == "beside":
            out.append(f"{indent}{code} ///< {marked(text)}")
            while at + 1 < len(rows) and (rows[at + 1][0] == "more" or (
                    rows[at + 1][0] == "above" and len(rows[at + 1][1]) > len(indent) + 8)):
                at += 1
                out.append(f"{indent}    ///< {marked(rows[at][3])}")
        else:
            previous = rows[at - 1][2] if at else ""
            name = declared_name(code)
            if name and name == overloads and previous.strip().endswith((";", "}")):
                out += comment
            out.append(code)
            if not code.strip():
                overloads = ""
        at += 1
    print("\n".join(out))


if __name__ == "__main__":
    main()
