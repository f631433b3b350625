#!/usr/bin/env python3
"""Makes a flame graph, as SVG, of what `perf script -F comm,ip,sym` prints.

    perf record -g PROGRAM; perf script -F comm,ip,sym | flame_graph.py ROOT > flame.svg

Only stacks with a function whose name contains ROOT count, from there on. The width of a box is the
time spent in the function and in what it calls; those beside each other are sorted by name, so that
two graphs can be compared. A browser shows a box's whole name and share when the mouse is on it.
"""

import html
import re
import sys

WIDTH = 960
ROW = 18
TEXT = 11  # pixels high; about 0.6 of that wide
LEAST = 0.0015  # boxes with a smaller share are left out
COLOURS = ("#f6c48a", "#f2b179", "#f4d08f", "#eea36f", "#f7dba4")


class Box:
    def __init__(self):
        self.count = 0
        self.children = {}

    def add(self, names):
        self.count += 1
        if names:
            self.children.setdefault(names[0], Box()).add(names[1:])

    def depth(self, least):
        deep = [box.depth(least) for box in self.children.values() if box.count >= least]
        return 1 + max(deep, default=0)


def plain(name):
    """A function's name without namespaces of ours, parameters and compilers' marks."""
    name = re.sub(r"\[abi:\w+\]|\(anonymous namespace\)::|\.(constprop|isra|part|cold)\.?\d*", "", name)
    name = re.sub(r"\bvek::|\bstd::", "", name)
    while (shorter := re.sub(r"<[^<>]*>", "", name)) != name:
        name = shorter
    return name


def stacks(lines):
    """Each sample's functions, the outermost first."""
    names = []
    for line in lines:
        frame = re.match(r"\s+[0-9a-f]+ (.*)", line)
        if frame:
            names.append(frame.group(1))
        elif names:
            yield names[::-1]
            names = []
    if names:
        yield names[::-1]


def read(lines, root):
    graph = Box()
    for names in stacks(lines):
        at = next((i for i, name in enumerate(names) if root in name), None)
        if at is not None:
            graph.add([plain(name) for name in names[at:] if name != "[unknown]"])
    if graph.count == 0:
        sys.exit(f"flame_graph.py: no sample has a function named like '{root}'")
    return graph


def draw(box, name, left, row, rows, total, out):
    width = WIDTH * box.count / total
    top = ROW * (rows - row)
    shown = html.escape(name if len(name) * TEXT * 0.6 < width - 6 else "")
    share = f"{html.escape(name)}: {100 * box.count / total:.1f} per cent"
    colour = COLOURS[sum(name.encode()) % len(COLOURS)]
    out.append(
        f'<g><title>{share}</title><rect x="{left:.1f}" y="{top}" width="{max(width - 0.5, 0.5):.1f}"'
        f' height="{ROW - 1}" fill="{colour}"/><text x="{left + 3:.1f}" y="{top + 13}">{shown}</text></g>'
    )
    for child_name in sorted(box.children):
        child = box.children[child_name]
        if child.count >= LEAST * total:
            draw(child, child_name, left, row + 1, rows, total, out)
        left += WIDTH * child.count / total


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    graph = read(sys.stdin, sys.argv[1])
    rows = graph.depth(LEAST * graph.count) - 1
    out = []
    left = 0.0
    for name in sorted(graph.children):
        draw(graph.children[name], name, left, 1, rows, graph.count, out)
        left += WIDTH * graph.children[name].count / graph.count
    print(
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{ROW * rows}"'
        f' font-family="sans-serif" font-size="{TEXT}">\n<rect width="100%" height="100%" fill="white"/>'
    )
    print("\n".join(out))
    print("</svg>")


if __name__ == "__main__":
    main()
