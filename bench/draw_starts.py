#!/usr/bin/env python3
"""Draws how long a start takes beside other programs: draw_starts.py FILE FIGURE

FILE is plugin.json, FIGURE the SVG to write, which is narrow enough to be read on a
phone. Needs gnuplot.
"""

import json
import pathlib
import sys

from turns import run

OURS, OTHERS = 0x1F5FBF, 0x9AA5B1
PLOT = r"""
set terminal svg size 480,{height} font "sans-serif,14" background "white"
set output "{figure}"
set label "A file with one method, from start to end" at screen 0.5, screen 0.91 center
$starts << END
{rows}
END
set style fill solid noborder
set border 0
set lmargin 28
set tmargin 3
unset xtics
unset key
set ytics scale 0
set xrange [0:{longest} * 1.5]
set yrange [{count} - 0.4:-0.6]
plot $starts using 2:0:(0):2:($0 - 0.36):($0 + 0.36):3:ytic(1) with boxxyerror lc rgb variable, \
  $starts using 2:0:(sprintf("%.2f ms", $2)) with labels left offset 0.6
"""


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: draw_starts.py FILE FIGURE")
    file, figure = map(pathlib.Path, sys.argv[1:])
    starts = json.loads(file.read_text(encoding="utf-8"))["start"]
    starts.sort(key=lambda row: row["wall ms"])
    rows = (
        f'"{row["program"]}" {row["wall ms"]} '
        f'{OURS if row["program"].startswith("protoc-gen-qarn-rpc") else OTHERS}'
        for row in starts
    )
    run(
        "gnuplot",
        input=PLOT.format(
            height=70 + 32 * len(starts),
            figure=figure,
            rows="\n".join(rows),
            longest=starts[-1]["wall ms"],
            count=len(starts),
        ),
    )


if __name__ == "__main__":
    main()
