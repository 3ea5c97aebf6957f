"""The curve as a picture: the time per file by number of files."""

import html
import math

COLOURS = {"sqlite": "#1b6ca8", "postgresql": "#c4572e"}
COLUMNS = 2
PANEL = (400, 260)  # of a case
MARGIN = {"left": 62, "right": 34, "top": 34, "bottom": 44}
HEAD = 54
STYLE = ("text{font:12px sans-serif;fill:#333}.name{font-weight:bold;font-size:14px}"
         ".grid{stroke:#ddd}.frame{fill:none;stroke:#999}.line{fill:none;stroke-width:2}"
         ".floor{stroke-dasharray:5 4}")


class Panel:
    """One case: both axes are logarithmic and end at round values."""

    def __init__(self, name, points, corner):
        self.name, self.points, self.corner = name, points, corner
        costs = [_cost(point, key) for point in points for key in ("ours_s", "floor_s")]
        sizes = [point["files"] for point in points]
        self.files, self.costs = _decades(sizes), _decades(costs)

    def svg(self):
        left, top = self._place(10 ** self.files[0], 10 ** self.costs[1])
        right, bottom = self._place(10 ** self.files[1], 10 ** self.costs[0])
        yield (f'<rect class="frame" x="{left:.1f}" y="{top:.1f}" width="{right - left:.1f}" '
               f'height="{bottom - top:.1f}"/>')
        yield f'<text class="name" x="{left:.1f}" y="{top - 10:.1f}">{html.escape(self.name)}</text>'
        for power in range(self.files[0], self.files[1] + 1):
            x = self._place(10 ** power, 1)[0]
            yield f'<path class="grid" d="M{x:.1f} {top:.1f}V{bottom:.1f}"/>'
            yield (f'<text x="{x:.1f}" y="{bottom + 17:.1f}" text-anchor="middle">'
                   f'{10 ** power:,}</text>')
        for power in range(self.costs[0], self.costs[1] + 1):
            y = self._place(1, 10 ** power)[1]
            yield f'<path class="grid" d="M{left:.1f} {y:.1f}H{right:.1f}"/>'
            yield (f'<text x="{left - 6:.1f}" y="{y + 4:.1f}" text-anchor="end">'
                   f'{10.0 ** power:g} µs</text>')
        for engine, colour in COLOURS.items():
            yield from self._lines(engine, colour)

    def _lines(self, engine, colour):
        points = sorted((point for point in self.points if point["engine"] == engine),
                        key=lambda point: point["files"])
        for key, kind in (("floor_s", "line floor"), ("ours_s", "line")):
            places = [self._place(point["files"], _cost(point, key)) for point in points]
            if places:
                path = "M" + "L".join(f"{x:.1f} {y:.1f}" for x, y in places)
                yield f'<path class="{kind}" stroke="{colour}" d="{path}"/>'
            for x, y in places:
                yield f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>'

    def _place(self, files, cost):
        width = PANEL[0] - MARGIN["left"] - MARGIN["right"]
        height = PANEL[1] - MARGIN["top"] - MARGIN["bottom"]
        return (self.corner[0] + MARGIN["left"] + width * _share(files, self.files),
                self.corner[1] + MARGIN["top"] + height * (1 - _share(cost, self.costs)))


def _cost(point, key):
    """Microseconds per file."""
    return point[key] / point["files"] * 1e6


def _decades(values):
    low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))
    return low, max(high, low + 1)


def _share(value, decades):
    return (math.log10(value) - decades[0]) / (decades[1] - decades[0])


def _legend():
    x = MARGIN["left"]
    for engine, colour in COLOURS.items():
        for what, kind in (("krindexer", "line"), ("floor", "line floor")):
            yield f'<path class="{kind}" stroke="{colour}" d="M{x} 34h28"/>'
            yield f'<text x="{x + 34}" y="38">{engine}, {what}</text>'
            x += 180


def svg(points):
    """A panel for each case of the points."""
    names = list(dict.fromkeys(point["case"] for point in points))
    width = max(COLUMNS * PANEL[0], MARGIN["left"] + 4 * 180)
    height = HEAD + PANEL[1] * math.ceil(len(names) / COLUMNS)
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
             f'width="{width}" height="{height}">', f"<style>{STYLE}</style>",
             f'<rect width="{width}" height="{height}" fill="white"/>',
             f'<text class="name" x="{MARGIN["left"]}" y="18">Time per file by number of files</text>',
             *_legend()]
    for number, name in enumerate(names):
        corner = (number % COLUMNS * PANEL[0], HEAD + number // COLUMNS * PANEL[1])
        lines += Panel(name, [point for point in points if point["case"] == name], corner).svg()
    return "\n".join([*lines, "</svg>", ""])
