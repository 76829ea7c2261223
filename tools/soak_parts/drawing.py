"""The samples of a run as a picture: one panel for each figure, over the same time."""

from xml.sax.saxutils import escape

_WIDTH, _PANEL, _LEFT, _RIGHT, _TOP, _GAP = 760, 110, 70, 15, 30, 34
_COLOURS = {"reload": "#1f6fb4", "pause": "#d08000", "address": "#2a8a3a", "rotation": "#8a4fa0", "refusal": "#c03030"}


def _steps(most):
    """A round upper end for an axis."""
    step = 1
    while True:
        for factor in (1, 2, 5):
            if step * factor * 4 >= most:
                return step * factor
        step *= 10


def _time(seconds):
    return f"{seconds / 60:g} min" if seconds >= 180 else f"{seconds:g} s"


def _panel(top, title, points, end):
    step = _steps(max((value for _, value in points), default=1) or 1)
    across, up = (_WIDTH - _LEFT - _RIGHT) / end, _PANEL / (4 * step)
    yield f'<text x="{_LEFT}" y="{top - 7}" class="title">{escape(title)}</text>'
    for line in range(5):
        y = top + _PANEL - line * step * up
        yield f'<path d="M{_LEFT} {y:.1f}H{_WIDTH - _RIGHT}" class="grid"/>'
        yield f'<text x="{_LEFT - 6}" y="{y + 4:.1f}" class="left">{line * step:,}</text>'
    path = " ".join(f"{_LEFT + second * across:.1f},{top + _PANEL - value * up:.1f}" for second, value in points)
    yield f'<polyline points="{path}" class="line"/>'


def _marks(top, marks, end):
    across = (_WIDTH - _LEFT - _RIGHT) / end
    for second, kind in marks:
        x = _LEFT + second * across
        yield f'<path d="M{x:.1f} {top}v8" stroke="{_COLOURS.get(kind, "#888888")}"/>'
    for place, (kind, colour) in enumerate(_COLOURS.items()):
        yield f'<text x="{_LEFT + 90 * place}" y="{top + 24}" fill="{colour}">{kind}</text>'


def _axis(top, end):
    step = _steps(end)
    for line in range(int(end // step) + 1):
        x = _LEFT + line * step * (_WIDTH - _LEFT - _RIGHT) / end
        yield f'<text x="{x:.1f}" y="{top}" class="middle">{_time(line * step)}</text>'


def draw(samples, marks):
    """An SVG. `marks`: pairs of second and kind of what happened."""
    end = samples[-1].second or 1
    rates = [(after.second, (after.answered - before.answered) / ((after.second - before.second) or 1))
             for before, after in zip(samples, samples[1:])]
    panels = [("Resident memory, MB", [(each.second, each.memory / 1e6) for each in samples]),
              ("Descriptors", [(each.second, each.descriptors) for each in samples]),
              ("Threads", [(each.second, each.threads) for each in samples]),
              ("Replies to known clients a second", rates)]
    height = _TOP + len(panels) * (_PANEL + _GAP) + 50
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{_WIDTH}" height="{height}" font-family="sans-serif" font-size="12">',
             "<style>.grid{stroke:#dddddd}.line{fill:none;stroke:#1f6fb4;stroke-width:1.2}.left{text-anchor:end}"
             ".middle{text-anchor:middle}.title{font-weight:bold}</style>", '<rect width="100%" height="100%" fill="#ffffff"/>']
    for place, (title, points) in enumerate(panels):
        parts += _panel(_TOP + place * (_PANEL + _GAP), title, points, end)
    bottom = height - 50 - _GAP
    parts += _axis(bottom + 18, end)
    parts += _marks(bottom + 34, marks, end)
    return "\n".join([*parts, "</svg>"]) + "\n"
