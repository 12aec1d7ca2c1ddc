#!/usr/bin/env python3
"""Runs the examples of the reference and draws what came out.

reference_pictures.py PROGRAM [CLASS]..., from the top of the tree: each examples/reference/CLASS.json
is run, and docs/reference/pictures/CLASS.svg gets a curve of each log that it writes, in the order of
its components, and of the values that it watches.
"""
import csv
import json
import pathlib
import re
import struct
import subprocess
import sys

EXAMPLES = pathlib.Path("examples/reference")
RESULTS = pathlib.Path("out/reference")
PICTURES = pathlib.Path("docs/reference/pictures")

# What a log holds that is not real samples over time: its type, and what its samples are counted in
# (a unit, and how many of it a sample is). Logs without an entry are real samples, counted in ms.
FORMS = {
    ("TQSApplyIntConst", "Input"): {"type": "i"},
    ("TQSApplyIntConst", "Output"): {"type": "i"},
    ("TQSRealToInt", "Output"): {"type": "i"},
    ("TQSDct", "Output"): {"unit": "", "step": 1},
    ("TQSDft", "Magnitudes"): {"unit": "Hz", "step": 20},
    ("TQSFourier", "Magnitudes"): {"unit": "Hz", "step": 31.25},
    ("TQSNoiseStats", "Level log"): {"unit": "Hz", "step": 7.8125},
    ("TQSPowerSpectrum", "Level log"): {"unit": "Hz", "step": 31.25},
    ("TQSHaar", "Coarse"): {"step": 0.25},
    ("TQSHaar", "Detail"): {"step": 0.25},
}


def samples(file_name, kind):
    data = pathlib.Path(file_name).read_bytes()
    return [value for (value,) in struct.iter_unpack("<" + kind, data)]


def panels(name, graph, watched):
    rates = [c["properties"]["SampleRate"] for c in graph["components"]
             if "SampleRate" in c.get("properties", {})]
    for component in graph["components"]:
        if component["class"] != "TQSLogger":
            continue
        form = FORMS.get((name, component["name"]), {})
        values = samples(component["properties"]["FileName"], form.get("type", "d"))
        unit, step = form.get("unit", "ms"), form.get("step", 1000 / rates[0])
        title = component["name"].removesuffix(" log")
        style = form.get("style", "steps" if form.get("type") == "i" else "lines")
        yield title, unit, style, [(i * step, value) for i, value in enumerate(values)]
    for pin, values in watched.items():
        # Each value stands until the next one.
        yield pin, "ms", "steps", values + [(2 * values[-1][0] - values[-2][0], values[-1][1])]


def draw(name, curves):
    lines = [
        f"set terminal svg size 640,{40 + 150 * len(curves)} font 'sans,11' noenhanced background 'white'",
        f"set output '{PICTURES / name}.svg'",
        f"set multiplot layout {len(curves)},1",
        "unset key",
        "set grid lt 1 lc rgb '#dddddd'",
        "set tics scale 0 nomirror",
        "unset border",
        "set offsets 0, 0, graph 0.08, graph 0.08",
        "set autoscale xfix",
    ]
    for number, (title, unit, style, points) in enumerate(curves):
        lines += [f"set title '{title}' offset 0,-0.6", f"set format x '%g {unit}'",
                  f"plot '-' with {style} lc rgb '#0060ad' lw 1.5"]
        lines += [f"{x:.5g} {y:.5g}" for x, y in points] + ["e"]
    lines += ["unset multiplot", ""]
    subprocess.run(["gnuplot"], input="\n".join(lines), text=True, check=True)
    picture = PICTURES / f"{name}.svg"
    picture.write_text(compact(picture.read_text()))


def compact(svg):
    """The same picture in a third of the bytes: without groups that are empty, symbols that are not
    used, and digits that nobody sees."""
    svg = re.sub(r"<(defs|title|desc)>.*?</\1>", "", svg, flags=re.S)
    svg = re.sub(r"<path[^>]*d='([^']*)'[^>]*/>", curve, svg)
    svg = re.sub(r'<g transform="([^"]*)"[^>]*text-anchor="([^"]*)">\s*<text>(.*?)</text>\s*</g>',
                 r'<text text-anchor="\2" transform="\1">\3</text>', svg)
    svg = re.sub(r"<g [^>]*>\s*</g>\s*", "", svg)
    svg = re.sub(r"<g fill[^>]*>", "<g>", svg)
    svg = svg.replace("<svg ", "<svg font-family='sans-serif' font-size='11' ", 1)
    return re.sub(r"\s+", " ", svg).replace("> <", ">\n<").strip() + "\n"


def curve(path):
    """A path in steps of tenths from point to point; nothing for one that goes nowhere."""
    color = re.search(r"stroke='([^']*)'", path.group()).group(1).replace(" ", "")
    text, last = "", None
    for letter, x, y in re.findall(r"([ML])([-\d.]+),([-\d.]+)", path.group(1)):
        place = round(10 * float(x)), round(10 * float(y))
        if letter == "M":
            text += f"M{place[0] / 10:g} {place[1] / 10:g}l"
        else:
            text += f"{(place[0] - last[0]) / 10:g} {(place[1] - last[1]) / 10:g} "
        last = place
    if not text or text.endswith("l"):
        return ""
    return f"<path fill='none' stroke='{color}' d='{text.strip()}'/>"


def main():
    program, chosen = sys.argv[1], sys.argv[2:]
    RESULTS.mkdir(parents=True, exist_ok=True)
    PICTURES.mkdir(parents=True, exist_ok=True)
    # What a player plays is written by the example of the logger.
    names = sorted((path.stem for path in EXAMPLES.glob("*.json")), key=lambda n: (n != "TQSLogger", n))
    for name in names:
        if chosen and name not in chosen:
            continue
        path = EXAMPLES / f"{name}.json"
        graph = json.loads(path.read_text())
        command = [program, "run", "--quiet", str(path)]
        table = RESULTS / f"{name}.csv"
        watched = {}
        if "watch" in graph.get("run", {}):
            command += ["--watch-file", str(table)]
        subprocess.run(command, check=True)
        if "watch" in graph.get("run", {}):
            with table.open() as rows:
                for row in csv.DictReader(rows):
                    place = (1000 * float(row["time"]), float(row["value"]))
                    watched.setdefault(row["name"], []).append(place)
        draw(name, list(panels(name, graph, watched)))
        print(f"{name}: {(PICTURES / name).with_suffix('.svg').stat().st_size} bytes")


if __name__ == "__main__":
    main()
