#!/usr/bin/env python3
"""Draws the map of the screens.

usage: draw_map.py FOLDER OUT

Reads screen_map.txt and the pictures in FOLDER, and writes OUT.svg and OUT.html. Needs Graphviz.
"""

import base64
import html
import re
import subprocess
import sys
from pathlib import Path

INTRODUCTION = """<h1>All screens of the updater</h1>
<p>Each picture is a screen that the running program has shown on the simulated device. Each arrow leads to the next
screen. Its label lists the events that lead there: an input, plugging in the drive, a progress line of a script, or the
end of a script. Every event without an arrow, such as unplugging the drive, leaves the screen unchanged. A thick frame
marks a final screen: the program shows it until the device is switched off. The text below a picture is the name of the
screen, followed by the name of the running script, if any. If two arrows from a screen have the same label, the next
screen depends on what was chosen before, or on whether decrypt.sh has found an installed version. The busy indicator
turns while the program waits for the drive and while a script is running; in screens whose names end with "stopped", it
stands still.</p>
<p><code>./dev map</code> draws this page: it starts the program and tries every input and every result of a script in
every state, breadth first. A test compares the screens and arrows with the running program.</p>
"""

STYLE = """
  svg { max-width: 100%; height: auto }
  text { font-family: system-ui, "DejaVu Sans", sans-serif }
"""

PAGE_STYLE = """
  body { font: 16px/1.5 system-ui, sans-serif; margin: 2rem; background: #fff; color: #1f2328 }
  h1, p { max-width: 50rem }
"""


class Failure(Exception):
    """An error reported to the user without a traceback."""


def read_map(path):
    """Returns the arrows of each screen: its name -> [(label, target)]."""
    screens = {}
    for number, line in enumerate(path.read_text().splitlines(), 1):
        arrow = re.fullmatch(r"    (.+) -> (\S+)", line)
        if arrow and screens:
            list(screens.values())[-1].append(arrow.groups())
        elif re.fullmatch(r"\S+", line):
            screens[line] = []
        else:
            raise Failure(f"{path}:{number}: expected a screen, or an arrow below a screen")
    return screens


def labels(arrows):
    """Returns one label for each target."""
    result = {}
    for label, target in arrows:
        result.setdefault(target, []).append(label)
    return {target: "\n".join(names).replace("turn left\nturn right", "turn") for target, names in result.items()}


def quoted(text):
    return '"' + text.replace('"', '\\"').replace("\n", "\\n") + '"'


def dot(screens):
    lines = ["digraph {", 'graph [ranksep=0.7 nodesep=0.35 bgcolor="#ffffff"]',
             'node [shape=plain fontname="DejaVu Sans" fontsize=12 fontcolor="#59636e"]',
             'edge [fontname="DejaVu Sans" fontsize=12 color="#8c959f" fontcolor="#1f2328" arrowsize=0.8]']
    for name, arrows in screens.items():
        border, colour = (1, "#8c959f") if arrows else (4, "#1f2328")
        lines.append(f'{quoted(name)} [label=<<table border="0" cellborder="0" cellspacing="0"><tr>'
                     f'<td border="{border}" color="{colour}"><img src="{name}.png"/></td></tr>'
                     f'<tr><td>{html.escape(name)}</td></tr></table>>]')
        lines += [f"{quoted(name)} -> {quoted(target)} [label={quoted(' ' + label.replace(chr(10), chr(10) + ' '))}]"
                  for target, label in labels(arrows).items()]
    return "\n".join([*lines, "}"])


def render(source, folder):
    """Returns an SVG document that contains the pictures."""
    result = subprocess.run(["dot", "-Tsvg"], input=source, cwd=folder, capture_output=True, text=True, check=False)
    if result.returncode != 0:
        raise Failure(f"dot: {result.stderr.strip()}")

    def embedded(match):
        data = base64.b64encode((folder / match[1]).read_bytes()).decode()
        return f'xlink:href="data:image/png;base64,{data}" style="image-rendering: pixelated"'

    svg = result.stdout[result.stdout.index("<svg"):]
    svg = re.sub(r"<!--.*?-->\n?", "", svg, flags=re.S)
    svg = re.sub(r'xlink:href="([^"]+\.png)"', embedded, svg)
    return svg.replace("<g id=", f"<title>All screens of the updater</title>\n<style>{STYLE}</style>\n<g id=", 1)


def main(arguments):
    if len(arguments) != 2 or arguments[0].startswith("-"):
        raise Failure("usage: draw_map.py FOLDER OUT")
    folder, out = Path(arguments[0]), Path(arguments[1])
    svg = render(dot(read_map(folder / "screen_map.txt")), folder)
    out.with_suffix(".svg").write_text(svg)
    out.with_suffix(".html").write_text(
        f'<!doctype html>\n<html lang="en">\n<meta charset="utf-8">\n<title>All screens of the updater</title>\n'
        f"<style>{PAGE_STYLE}</style>\n{INTRODUCTION}{svg}</html>\n")


if __name__ == "__main__":
    try:
        main(sys.argv[1:])
    except (Failure, OSError) as failure:
        print(f"draw_map: {failure}", file=sys.stderr)
        sys.exit(1)
