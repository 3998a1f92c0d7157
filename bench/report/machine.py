"""What a run runs on: processor, compiler, flags, commit.

usage: machine.py ROOT BUILD     prints it as JSON, for the results of a run that begins
"""

import json
import re
import subprocess
import sys
from pathlib import Path

# Written by the run itself.
OUTPUTS = (":(exclude)docs/performance.md", ":(exclude)docs/plots")


def output_of(*command: str, folder: Path = Path(".")) -> str:
    done = subprocess.run(command, cwd=folder, capture_output=True, text=True, check=False)
    return done.stdout.strip()


def processor() -> str:
    info = Path("/proc/cpuinfo").read_text()
    facts = dict(re.findall(r"^(.+?)\s*: (.*)$", info, re.MULTILINE))
    text = f"{facts.get('model name', 'unknown')}, family {facts.get('cpu family', '?')}"
    return f"{text} model {facts.get('model', '?')}, {info.count('processor')} cores"


def caches() -> str:
    sizes = []
    for index in sorted(Path("/sys/devices/system/cpu/cpu0/cache").glob("index*")):
        if (index / "type").read_text().strip() == "Instruction":
            continue
        level = (index / "level").read_text().strip()
        sizes.append(f"L{level} {(index / 'size').read_text().strip()}")
    return ", ".join(sizes) or "unknown"


def clock(log: str) -> str:
    """The line that every program begins with, as in "core at 3.65 GHz, ..."."""
    found = re.search(r"core at ([\d.]+) GHz", log)
    return f"{found.group(1)} GHz" if found else "unknown"


def flags(build: Path, source: str) -> str:
    """Flags of the file whose path ends in `source`, without include folders and warnings."""
    for entry in json.loads((build / "compile_commands.json").read_text()):
        if not entry["file"].endswith(source):
            continue
        words = entry["command"].split()
        skipped = ("-I", "-W", "-D", "-isystem", "-o", "-c", "-fdiagnostics")
        kept = [word for word in words if word.startswith("-") and not word.startswith(skipped)]
        return " ".join(dict.fromkeys(kept))
    return "unknown"


def compiler(build: Path) -> str:
    cache = (build / "CMakeCache.txt").read_text()
    found = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", cache, re.MULTILINE)
    return output_of(found.group(1), "--version").splitlines()[0] if found else "unknown"


def commit(root: Path) -> str:
    described = output_of("git", "log", "-1", "--format=%h (%s)", folder=root)
    if not described:
        return "unknown"
    changed = output_of("git", "status", "--porcelain", "--", ".", *OUTPUTS, folder=root)
    return described + (", with local changes" if changed else "")


def facts_of(root: Path, build: Path) -> dict[str, str]:
    return {
        "Processor": processor(),
        "Caches": caches(),
        "Compiler": compiler(build),
        "Flags of the kernels": f"`{flags(build, 'kernels/predicate/dict_aligned.cpp')}`",
        "Flags of the plain loops": f"`{flags(build, 'bench/support/scalar_scans.cpp')}`",
        "Commit": commit(root),
    }


if __name__ == "__main__":
    print(json.dumps(facts_of(Path(sys.argv[1]), Path(sys.argv[2])), indent=1))
