"""Draws panels of curves by gnuplot, in the one style of the report."""

import subprocess
from dataclasses import dataclass, field
from pathlib import Path
from typing import Optional

STYLE = Path(__file__).parent / "plot_style.gp"
# In points of the picture; a character's width is an average.
PANEL_WIDTH, HEIGHT, LEGEND = 370, 330, 54
SAMPLE, CHARACTER, GAP = 30, 6.4, 12


@dataclass
class Curve:
    title: str
    style: int  # of plot_style.gp
    points: list[tuple[float, Optional[float]]]


@dataclass
class Panel:
    title: str
    x_label: str
    y_label: str
    curves: list[Curve]
    settings: list[str] = field(default_factory=list)  # lines of gnuplot, as scales and tics

    @property
    def drawn(self) -> list[Curve]:
        return [curve for curve in self.curves if any(y is not None for _, y in curve.points)]


def quoted(text: str) -> str:
    return "'" + text.replace("'", "''") + "'"


def write_points(curve: Curve, file: Path):
    lines = (f"{x:g},{'?' if y is None else format(y, '.6g')}" for x, y in curve.points)
    file.write_text("\n".join(lines) + "\n")


def panel_script(panel: Panel, prefix: Path) -> list[str]:
    script = [
        f"set title {quoted(panel.title)}",
        f"set xlabel {quoted(panel.x_label)}",
        f"set ylabel {quoted(panel.y_label)}",
        "unset logscale",
        "set xtics auto",
        "set ytics auto",
        "set xrange [*:*]",
        "set yrange [*:*]",
        *panel.settings,
    ]
    parts = []
    for number, curve in enumerate(panel.drawn):
        file = prefix.with_name(f"{prefix.name}-{number}.csv")
        write_points(curve, file)
        parts.append(f"{quoted(str(file))} using 1:2 with linespoints linestyle {curve.style}")
    return script + ["plot " + ", \\\n  ".join(parts)]


def legend_script(curves: list[Curve], width: int) -> list[str]:
    """Samples and titles below the panels, in lines that are as long as the picture is wide."""
    lines: list[list[tuple[Curve, float]]] = [[]]
    at = 0.0
    for curve in curves:
        needed = SAMPLE + CHARACTER * len(curve.title) + 2 * GAP
        if lines[-1] and at + needed > width:
            lines.append([])
            at = 0.0
        lines[-1].append((curve, needed))
        at += needed
    script = []
    tag = 0
    for row, line in enumerate(lines):
        x = (width - sum(needed for _, needed in line)) / 2
        y = (LEGEND - 24 - 19 * row) / (HEIGHT + LEGEND)
        for curve, needed in line:
            tag += 1
            ends = f"{(x + GAP) / width:.4f},{y:.4f} to screen {(x + GAP + SAMPLE) / width:.4f}"
            style = f"nohead linestyle {curve.style}"
            script.append(f"set arrow {tag} from screen {ends},{y:.4f} {style}")
            place = f"{(x + 1.5 * GAP + SAMPLE) / width:.4f},{y:.4f}"
            text = f"{quoted(curve.title)} at screen {place} left noenhanced"
            script.append(f"set label {tag} {text}")
            x += needed
    return script


def all_curves(panels: list[Panel]) -> list[Curve]:
    """One curve of each title."""
    return list({curve.title: curve for panel in panels for curve in panel.drawn}.values())


def draw(name: str, panels: list[Panel], folder: Path, work: Path) -> Optional[Path]:
    """Draws the panels that have points side by side; none if there are none."""
    panels = [panel for panel in panels if panel.drawn]
    if not panels:
        return None
    folder.mkdir(parents=True, exist_ok=True)
    work.mkdir(parents=True, exist_ok=True)
    picture = folder / f"{name}.svg"
    width = max(PANEL_WIDTH * len(panels), 560)
    bottom = (LEGEND + 46) / (HEIGHT + LEGEND)
    script = [
        f"set terminal svg size {width},{HEIGHT + LEGEND} font 'Helvetica,12'"
        " background rgb '#ffffff'",
        f"set output {quoted(str(picture))}",
        f"load {quoted(str(STYLE))}",
        f"set multiplot layout 1,{len(panels)} margins {80 / width:.3f},{1 - 14 / width:.3f},"
        f"{bottom:.3f},0.91 spacing {88 / width:.3f},0",
    ]
    legend = legend_script(all_curves(panels), width)
    for number, panel in enumerate(panels):
        if number == 0:
            script += legend
        script += panel_script(panel, work / f"{name}-{number}")
        if number == 0:
            script += ["unset object 1", "unset arrow", "unset label"]
    script += ["unset multiplot", "unset output"]
    program = work / f"{name}.gp"
    program.write_text("\n".join(script) + "\n")
    subprocess.run(["gnuplot", str(program)], check=True)
    return picture
