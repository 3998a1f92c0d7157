"""The library's code by family: the object files that it is linked of."""

import subprocess
from pathlib import Path

LIMIT_BYTES = 4 << 20
MACHINE_CODE = (".text", ".init", ".fini", ".plt")


def sections(file: Path) -> dict[str, int]:
    """Bytes by section name; sections of one name are added up."""
    listing = subprocess.run(
        ["size", "-A", "-d", str(file)], capture_output=True, text=True, check=True
    ).stdout
    sizes: dict[str, int] = {}
    for line in listing.splitlines():
        words = line.split()
        if len(words) == 3 and words[0].startswith(".") and words[1].isdigit():
            sizes[words[0]] = sizes.get(words[0], 0) + int(words[1])
    return sizes


def code_bytes(file: Path) -> int:
    return sum(size for name, size in sections(file).items() if name.startswith(MACHINE_CODE))


def table_bytes(file: Path) -> int:
    named = (".rodata", ".data.rel.ro")
    return sum(size for name, size in sections(file).items() if name.startswith(named))


def families(build: Path) -> dict[str, tuple[int, int]]:
    """Bytes of code and of tables by folder and file of the kernels."""
    objects = build / "kernels" / "CMakeFiles" / "colx_kernels.dir"
    sizes = {}
    for file in sorted(objects.glob("*/*.o")):
        name = f"{file.parent.name}/{file.name.removesuffix('.o').removesuffix('.cpp')}"
        sizes[name] = (code_bytes(file), table_bytes(file))
    return sizes
