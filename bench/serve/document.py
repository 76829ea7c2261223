"""Writes docs/performance.md, its picture, and the results that both are made from."""

import json
import pathlib
import re
import shutil
import subprocess
import tempfile

import summary
import tables
from cases import ECHO, MAIN, REFERENCE

GNUPLOT_SECONDS = 60

_PLOT = """set terminal svg size 760,420 enhanced font 'sans-serif,13' background '#ffffff'
set output '{svg}'
set xlabel 'clients'
set ylabel 'replies a second'
set logscale x 10
set xrange [70:150000]
set yrange [0:*]
set format x '%.0f'
set format y '%.0f'
set key bottom left
set grid ytics linecolor '#cccccc'
plot '{echo}' using 1:2 with lines linewidth 2 linecolor '#888888' title 'UDP echo', \\
     '{service}' using 1:2:3:4 with yerrorlines linewidth 2 pointtype 7 linecolor '#1f6fb4' \\
     title 'Quillon (lowest to highest round)'
"""


def _row(report, case, load=REFERENCE):
    for row in report["rows"]:
        if (row["case"], row["load"]) == (case, load):
            return row
    return None


def _rows_by_clients(report):
    found = [(clients, _row(report, str(clients))) for clients in (100, 1000, 10_000, 100_000)]
    return [(clients, row) for clients, row in found if row is not None]


def _draw(report, svg):
    if shutil.which("gnuplot") is None:
        raise SystemExit("The command gnuplot is missing; it comes with gnuplot-nox.")
    echo = _row(report, ECHO)["replies_per_second"]
    with tempfile.TemporaryDirectory(prefix="quillon-plot-") as folder:
        line, points = pathlib.Path(folder, "echo"), pathlib.Path(folder, "service")
        line.write_text(f"70 {echo}\n150000 {echo}\n", encoding="ascii")
        points.write_text("".join(
            f"{clients} {row['replies_per_second']} {row['lowest_replies_per_second']} "
            f"{row['highest_replies_per_second']}\n" for clients, row in _rows_by_clients(report)), encoding="ascii")
        subprocess.run(["gnuplot"], input=_PLOT.format(svg=svg, echo=line, service=points), text=True, check=True,
                       timeout=GNUPLOT_SECONDS)


def _headline(report):
    """The main figure; or, if others used the server's core, what can be said in spite of that."""
    echo, row = _row(report, ECHO), _row(report, MAIN)
    load = "at 1,000 clients and 64 requests outstanding"
    share = summary.core_share(report["results"], (ECHO, MAIN))
    if share < summary.LEAST_CORE_SHARE:
        return (f"These figures were taken on a busy machine: the server had only {share:.0%} of its core {load}.\n"
                f"Its rates say nothing. By CPU time a reply costs **{1 / row['cpu_ratio']:.2f}** times what it costs "
                "the echo.")
    return (f"With {row['replies_per_second']:,.0f} replies a second {load}, Quillon reaches\n"
            f"**{row['ratio']:.2f}** of the echo's {echo['replies_per_second']:,.0f}.")


def _figures(report):
    """What stands in the template in double braces."""
    machine = report["machine"]
    results = report["results"]
    return {
        "processor": machine["processor"], "cores": machine["cores"], "kernel": machine["kernel"],
        "date": machine["date"], "load average": f"{machine['load_average_before']:.1f}",
        "rounds": len(results["rounds"]), "seconds": f"{report['measured_ms'] / 1000:g}",
        "headline": _headline(report),
        "rates": tables.rates(report["rows"]), "bars": tables.bars(report["bars"]),
        "reloads": tables.reloads(results["reload"]), "starts": tables.starts(results["start"]),
        "steps": tables.steps(report["steps"]),
    }


def write(report, tree):
    """Into the folder docs of the tree. The report has to be one of all cases, with the steps."""
    template = pathlib.Path(__file__).with_name("performance.md.in").read_text(encoding="utf-8")
    figures = _figures(report)
    text = re.sub(r"\{\{(.*?)\}\}", lambda match: str(figures[match[1]]), template)
    docs = tree / "docs"
    _draw(report, docs / "performance.svg")
    (docs / "performance.json").write_text(json.dumps(report, indent=1) + "\n", encoding="utf-8")
    (docs / "performance.md").write_text(text, encoding="utf-8")
