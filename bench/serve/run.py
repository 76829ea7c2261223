"""Measures the service from outside. tools/bench builds what this needs and calls it."""

import argparse
import datetime
import json
import os
import pathlib
import platform
import signal
import sys

sys.dont_write_bytecode = True
TREE = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TREE / "tools"))

import cases
import document
import profile_steps
import summary
import tables
from scene import Scene


def _processor():
    with open("/proc/cpuinfo", encoding="latin-1") as file:
        names = [line.split(":", 1)[1].strip() for line in file if line.startswith("model name")]
    return names[0] if names else platform.machine()


def _machine():
    return {"processor": _processor(), "cores": os.cpu_count(), "kernel": platform.release(),
            "date": datetime.date.today().isoformat(), "load_average_before": os.getloadavg()[0]}


def _arguments():
    parser = argparse.ArgumentParser(prog="tools/bench", description=__doc__.splitlines()[0])
    parser.add_argument("--quick", action="store_true", help="short measurements: about two minutes instead of six")
    parser.add_argument("--document", action="store_true", help="write docs/performance.* from what was measured")
    parser.add_argument("--from", dest="saved", metavar="FILE", help="measure nothing, take the results in the file")
    parser.add_argument("--json", metavar="FILE", default="build/bench.json", help="where the results go")
    parser.add_argument("--case", action="append", choices=cases.CHOICES, help="only this and the echo; repeatable")
    arguments = parser.parse_args()
    if arguments.document and arguments.case:
        parser.error("The document shows all cases: --document and --case exclude each other.")
    return arguments


def _measure(arguments):
    pace = cases.QUICK if arguments.quick else cases.FULL
    machine = _machine()
    if machine["load_average_before"] > 0.5:
        print(f"The machine is busy (load average {machine['load_average_before']:.1f}): rates will be too low and "
              "uneven.", file=sys.stderr)

    def say(text):
        print(text, file=sys.stderr, flush=True)

    with Scene() as scene:
        results = cases.measure_all(scene, pace, arguments.case or cases.CHOICES, say)
        report = {"machine": machine, "measured_ms": pace.measured, "results": results}
        if arguments.document:
            say("instructions by step")
            report["steps"] = profile_steps.measure(scene)
    return report


def main():
    arguments = _arguments()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))  # an end in order, which removes what was made
    if arguments.saved:
        report = json.loads(pathlib.Path(arguments.saved).read_text(encoding="utf-8"))
    else:
        if os.geteuid() != 0:
            sys.exit("Network namespaces need root.")
        report = _measure(arguments)
    report |= {"rows": summary.rows(report["results"]), "bars": summary.bars(report["results"])}
    if not arguments.saved:
        target = pathlib.Path(arguments.json)
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(json.dumps(report, indent=1) + "\n", encoding="utf-8")
        print(f"The same as JSON, with every round: {target}\n")
    print(tables.everything(report))
    if arguments.document:
        document.write(report, TREE)
    sys.exit(0 if all(bar["verdict"] == summary.MET for bar in report["bars"]) else 3)


if __name__ == "__main__":
    main()
