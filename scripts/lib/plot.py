#!/usr/bin/env python3
"""Draws what scripts/benchmark measured: python3 scripts/lib/plot.py PICTURE_FOLDER RESULT [BEFORE].

Each picture is one program of gnuplot in scripts/lib/pictures. The figures that were drawn are kept beside the
pictures, as results that can be drawn again: after.json, before.json. A picture holds no more than these, so the same
results give the same picture.
"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile

PROGRAMS = pathlib.Path(__file__).resolve().parent / "pictures"
DISTRIBUTIONS = {"closed-loop": "closed loop", "random-phase": "random phase"}
# For the points of a picture: the figures, whose number is the horizontal place, and another one at 0.
SCATTERED = {
    "memory-gateways-rss": (r"gateways (\d+), memory, clients 0, RSS", None),
    "memory-gateways-pss": (r"gateways (\d+), memory, clients 0, PSS", None),
    "memory-clients-rss": (r"gateways 1, memory, clients (\d+), RSS", None),
    "memory-clients-pss": (r"gateways 1, memory, clients (\d+), PSS", None),
    "cpu": (r"rate (\d+), CPU", None),
    "cpu-above-idle": (r"rate (\d+), CPU above idle", 0.0),
}
# The points of each picture, and what is drawn beside the Mux.
PICTURES = {
    "waiting-times": (tuple(DISTRIBUTIONS), ("floor",)),
    "memory": (("memory-gateways-rss", "memory-gateways-pss", "memory-clients-rss", "memory-clients-pss"), ()),
    "cpu": (("cpu", "cpu-above-idle"), ("floor",)),
}
# What is drawn of each result: an earlier Mux has the same floor.
PROGRAMS_OF = {"after": ("floor", "Mux"), "before": ("Mux",)}
DECIMALS = 3


class PlotError(Exception):
    """A picture cannot be drawn."""


def drawn_of(result, programs):
    """The part of a result that is drawn of these programs, in the same shape."""
    figures, distributions = {}, {}
    for name, figure in result["figures"].items():
        program, what = name.split(": ", 1)
        if program in programs and any(re.fullmatch(pattern, what) for pattern, _ in SCATTERED.values()):
            figures[name] = {"median": round(figure["median"], DECIMALS), "unit": figure["unit"]}
    for name, distribution in result.get("distributions", {}).items():
        program, what = name.split(": ", 1)
        if program in programs and what in DISTRIBUTIONS.values():
            distributions[name] = {"unit": distribution["unit"], "percents": distribution["percents"],
                                   "median": [round(value, DECIMALS) for value in distribution["median"]]}
    return {"figures": figures, "distributions": distributions}


def text_of(drawn):
    """One line for each figure, so that a change of one shows as one."""
    parts = []
    for part, entries in drawn.items():
        lines = ",\n".join(f"  {json.dumps(name)}: {json.dumps(entry)}" for name, entry in entries.items())
        parts.append(f' {json.dumps(part)}: {{\n{lines}\n }}')
    return "{\n" + ",\n".join(parts) + "\n}\n"


def points_of(drawn, program, points):
    """The points of one line, as pairs."""
    if points in DISTRIBUTIONS:
        distribution = drawn["distributions"].get(f"{program}: {DISTRIBUTIONS[points]}")
        return list(zip(distribution["percents"], distribution["median"])) if distribution else []
    pattern, at_zero = SCATTERED[points]
    matches = {name: re.fullmatch(f"{program}: {pattern}", name) for name in drawn["figures"]}
    pairs = sorted((int(match[1]), drawn["figures"][name]["median"]) for name, match in matches.items() if match)
    return ([(0, at_zero)] if pairs and at_zero is not None else []) + pairs


def write_points(folder, series, drawn, program, points):
    pairs = points_of(drawn, program, points)
    if not pairs:
        raise PlotError(f'no figures of the {program} for "{points}"; measured with scripts/benchmark --only?')
    (folder / f"{points}.{series}").write_text("".join(f"{x}\t{y}\n" for x, y in pairs))


def draw(picture, file, after, before):
    points, others = PICTURES[picture]
    series = {"floor": (after, "floor")} if others else {}
    if before:
        series["before"] = (before, "Mux")
    series["after"] = (after, "Mux")
    with tempfile.TemporaryDirectory() as folder:
        for name, (drawn, program) in series.items():
            for each in points:
                write_points(pathlib.Path(folder), name, drawn, program, each)
        definitions = f'series = "{" ".join(series)}"; data = "{folder}"; picture = "{file}"'
        subprocess.run(["gnuplot", "-e", definitions, str(PROGRAMS / "style.gp"), str(PROGRAMS / f"{picture}.gp")],
                       check=True)


def main(folder, result, before=None):
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    results = {"after": result, "before": before}
    drawn = {name: drawn_of(json.loads(pathlib.Path(path).read_text()), PROGRAMS_OF[name])
             for name, path in results.items() if path}
    for picture in PICTURES:
        draw(picture, folder / f"{picture}.svg", drawn["after"], drawn.get("before"))
        print(folder / f"{picture}.svg")
    for name in results:
        kept = folder / f"{name}.json"
        kept.write_text(text_of(drawn[name])) if name in drawn else kept.unlink(missing_ok=True)


if __name__ == "__main__":
    try:
        main(*sys.argv[1:])
    except (PlotError, OSError, KeyError, ValueError, subprocess.CalledProcessError) as error:
        sys.exit(f"plot: {error}")
