"""Checks that what the documents name is there, and that every command they show is run.

usage: name_what_exists.py SOURCE_DIR [PAGE]
       name_what_exists.py SOURCE_DIR --run BUILD_DIR

The first checks the pages of the tree, or one page; the second runs the commands marked "here".

Held against the tree are: relative links and their headings; files, folders, scripts and their
options, presets and test programs that are named in `code`; the table of docs/architecture.md of
what may include what; and the commands in blocks of sh, which stand in commands.txt beside what
runs them.
"""

import json
import re
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).parent
TOP_FOLDERS = {"bench", "cmake", "docs", "examples", "host", "kernels", "scripts", "tests",
               "tools"}
FILE_NAME = re.compile(r"^[\w.-]+\.(h|cpp|c|py|sh|txt|map|cmake|md|json|svg)$")


def pages_of(source):
    return [source / "README.md", *sorted(source.glob("C*.md")), *sorted(source.glob("docs/*.md"))]


def heading_anchors(page):
    anchors, in_block = set(), False
    for line in page.read_text().splitlines():
        in_block ^= line.startswith("```")
        heading = None if in_block else re.match(r"#+ (.*)", line)
        if heading:
            text = re.sub(r"[^\w\- ]", "", heading.group(1).lower())
            anchors.add(text.replace(" ", "-"))
    return anchors


class Tree:
    def __init__(self, source):
        self.source = source
        skipped = re.compile(r"^(build|\.git|data)")
        self.names, self.stems = set(), set()
        for file in source.rglob("*"):
            if not skipped.match(str(file.relative_to(source))):
                self.names.add(file.name)
                self.stems.add(file.stem)
        presets = json.loads((source / "CMakePresets.json").read_text())
        self.presets = {p["name"] for p in presets["configurePresets"] if not p.get("hidden")}
        self.commands = read_commands(HERE / "commands.txt")
        self.tests = {f"{f.parent.name}/{f.stem}" for f in source.glob("tests/*/*_test.cpp")}
        for listing in source.glob("tests/*/CMakeLists.txt"):
            self.tests.update(re.findall(r"add_test\(NAME (\w+/\w+)", listing.read_text()))

    def link_fault(self, page, target):
        path, _, anchor = target.partition("#")
        file = (page.parent / path).resolve() if path else page
        if not file.exists():
            return f"the link {target} leads nowhere"
        if anchor and file.suffix == ".md" and anchor not in heading_anchors(file):
            return f"{file.name} has no heading #{anchor}"
        return None

    def code_fault(self, code):
        word, *others = code.split()
        preset = re.search(r"--preset[ =](\w+)", code)
        if preset and not preset[1].isupper() and preset[1] not in self.presets:
            return f"there is no preset {preset.group(1)}"
        if re.fullmatch(r"\w+_(test|bench)", word) and word not in self.stems:
            return f"there is no {word}"
        parts = word.rstrip("/").split("/")
        if word in self.tests:
            return None
        if len(parts) == 2 and parts[0] == "contract" and parts[1]:
            return f"there is no test {word}"
        if len(parts) > 1 and parts[0] in TOP_FOLDERS:
            if not any(self.source.glob(word.rstrip("/"))):
                return f"there is no {word}"
        elif FILE_NAME.match(word) and word not in self.names and "*" not in word:
            return f"there is no file {word}"
        if parts[0] == "scripts" and len(parts) == 2:
            text = (self.source / word).read_text()
            for option in others:
                if option.startswith("--") and option != "--help" and option not in text:
                    return f"{word} knows no {option}"
        return None

    def command_fault(self, command):
        if command not in self.commands:
            return f"nothing is known to run: {command} (add it to tests/docs/commands.txt)"
        return None


def read_commands(file):
    """Of each command shown: what runs it, and the line there that does."""
    commands = {}
    for line in file.read_text().splitlines():
        if line and not line.startswith("#"):
            command, _, runner = line.partition(" <- ")
            commands[command] = runner
    return commands


def faults_of(page, tree):
    language, joined = None, ""
    for number, line in enumerate(page.read_text().splitlines(), 1):
        where = f"{page.name}:{number}"
        fence = re.match(r"```(\w*)", line)
        if fence:
            language = None if language is not None else fence.group(1)
        elif language == "sh":
            joined += line.removesuffix("\\")
            if line.endswith("\\") or not joined.strip() or joined.startswith("#"):
                joined = joined if line.endswith("\\") else ""
                continue
            fault = tree.command_fault(" ".join(joined.split()))
            joined = ""
            if fault:
                yield f"{where}: {fault}"
        elif language is None:
            targets = re.findall(r"\]\(([^)\s]+)\)", line)
            found = [tree.link_fault(page, t) for t in targets if "://" not in t]
            found += [tree.code_fault(c) for c in re.findall(r"`([^`]+)`", line) if c.strip()]
            yield from (f"{where}: {fault}" for fault in found if fault)


def list_faults(tree):
    """Faults of commands.txt: what is said to run a command does not."""
    for command, runner in tree.commands.items():
        if runner == "here":
            continue
        file, _, needle = runner.partition(": ")
        path = tree.source / file
        if not path.is_file() or needle not in path.read_text():
            yield f"commands.txt: {file} does not run {command} by: {needle}"


def include_faults(tree):
    """Differences between the table in docs/architecture.md and the #include lines."""
    page = tree.source / "docs/architecture.md"
    table = page.read_text().split("| Folder | Includes |")[1].split("\n\n")[0]
    said = {row.split("|")[1].strip(" `"): set(re.findall(r"`([\w/]+)`", row.split("|")[2]))
            for row in table.splitlines() if "`" in row}
    for folder, includes in said.items():
        found = set()
        for file in (tree.source / folder).rglob("*"):
            if file.suffix not in (".h", ".cpp", ".c"):
                continue
            for include in re.findall(r'#include "([^"]+)"', file.read_text()):
                top = include.split("/")[0]
                parted = top in ("kernels", "tools")
                part = "/".join(include.split("/")[:2]) if parted else top
                if part != folder:
                    found.add(part)
                allowed = {"kernels/frame/colx_x86.h"}
                if file.name == "expected_kernels.cpp":
                    allowed.add("kernels/frame/registry.h")
                outside = not folder.startswith("kernels")
                if outside and top == "kernels" and include not in allowed:
                    yield f"{file.name} includes {include}; the public header is the one to include"
        if found != includes:
            yield f"architecture.md: {folder} includes {sorted(found)}"


def run_commands(tree, build):
    for shown, runner in tree.commands.items():
        if runner != "here":
            continue
        command = shown.replace("--build --preset release", f"--build {build}")
        command = command.replace("ctest --preset release", f"ctest --test-dir {build}")
        command = command.replace("build-release/", f"{build}/")
        if "_bench" in command and not (build / "bench").is_dir():
            print(f"without benchmarks: {shown}")
            continue
        # A ctest within ctest would overwrite its log: it only says which tests it would run.
        lists = command.startswith("ctest ")
        run = subprocess.run(command + (" -N" if lists else ""), shell=True, cwd=tree.source,
                             capture_output=True, text=True)
        print(f"{run.returncode} {command}")
        if run.returncode != 0 or (lists and "Total Tests: 0" in run.stdout):
            sys.exit(run.stdout + run.stderr)


def main():
    tree = Tree(Path(sys.argv[1]).resolve())
    if sys.argv[2:3] == ["--run"]:
        return run_commands(tree, Path(sys.argv[3]).resolve())
    if len(sys.argv) > 2:
        faults = list(faults_of(Path(sys.argv[2]), tree))
    else:
        faults = [fault for page in pages_of(tree.source) for fault in faults_of(page, tree)]
        faults += [*list_faults(tree), *include_faults(tree)]
    if faults:
        sys.exit("\n".join(faults))
    print("all that the pages name is there")
    return 0


if __name__ == "__main__":
    sys.exit(main())
