"""Runs the fuzz targets of a build, side by side, and says what they executed, covered and found. See tools/fuzz."""

import argparse
import concurrent.futures
import dataclasses
import os
import pathlib
import re
import subprocess
import sys

TESTS = pathlib.Path(__file__).parents[2] / "tests"
FUZZ, KSL = TESTS / "fuzz", TESTS / "class_a" / "fuzz"
QUILLON = ("request", "bootptab", "registry", "services", "control", "decoder", "netlink")
INPUT_SECONDS, MEMORY_MB = 25, 2048  # for one input; beyond it is a finding
GRACE_SECONDS = 120  # in which a target has to end after its time


@dataclasses.dataclass
class Outcome:
    name: str
    executions: int = 0
    covered: int = 0
    inputs: int = 0
    findings: tuple = ()
    ending: str = ""  # what the target said at its end, if that wasn't in order


def targets(build):
    found = {name: (build / "tests" / f"fuzz_{name}", FUZZ / "corpus" / name) for name in QUILLON}
    for corpus in sorted((KSL / "corpus").iterdir()):
        found[f"ksl_{corpus.name}"] = (build / "tests" / f"ksl_fuzz_{corpus.name}", corpus)
    return found


def _number(pattern, text):
    found = re.findall(pattern, text)
    return int(found[-1]) if found else 0


def run(build, name, program, seeds, seconds):
    corpus, findings = build / "corpus" / name, build / "findings" / name
    for folder in (corpus, findings):
        folder.mkdir(parents=True, exist_ok=True)
    before = set(findings.iterdir())
    dictionary = pathlib.Path(__file__).parent / f"{name}.dict"
    command = [program, f"-max_total_time={seconds}", f"-timeout={INPUT_SECONDS}", f"-rss_limit_mb={MEMORY_MB}", "-print_final_stats=1",
               f"-artifact_prefix={findings}/", *([f"-dict={dictionary}"] if dictionary.exists() else []), corpus, seeds]
    log = findings.with_suffix(".log")
    with open(log, "wb") as output:
        process = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, check=False,
                                 timeout=seconds + GRACE_SECONDS, env={**os.environ, "ASAN_OPTIONS": "detect_leaks=1"})
    text = log.read_text(encoding="latin-1")
    new = tuple(sorted(str(path) for path in set(findings.iterdir()) - before))
    ending = "" if process.returncode == 0 else (re.findall(r"^(?:broken: .*|.*runtime error: .*|SUMMARY: .*)$", text, re.MULTILINE)
                                                 or [f"ended with {process.returncode}, see {log}"])[0]
    return Outcome(name, _number(r"stat::number_of_executed_units: (\d+)", text) or _number(r"^#(\d+)\s", text),
                   _number(r" cov: (\d+)", text), len(list(corpus.iterdir())), new, ending)


def main():
    parser = argparse.ArgumentParser(prog="tools/fuzz", description="Fuzzes each input of the service, of quillonctl and of ksl for a "
                                     "while. Ends with 1 if something is found.")
    parser.add_argument("minutes", nargs="?", type=float, default=0.25, help="for each target (0.25)")
    parser.add_argument("--only", action="append", metavar="TARGET", help="not all of them; may be given again and again")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="so many at a time (one a core)")
    parser.add_argument("--build", type=pathlib.Path, default=pathlib.Path("build/fuzz"), help=argparse.SUPPRESS)
    options = parser.parse_args()
    chosen = targets(options.build)
    if unknown := set(options.only or ()) - set(chosen):
        parser.error(f"no such target: {', '.join(sorted(unknown))}; there are {', '.join(chosen)}")
    seconds = max(1, round(options.minutes * 60))
    with concurrent.futures.ThreadPoolExecutor(max(1, options.jobs)) as pool:
        runs = [pool.submit(run, options.build, name, program, seeds, seconds) for name, (program, seeds) in chosen.items()
                if not options.only or name in options.only]
        outcomes = [each.result() for each in runs]
    print(f"{'target':24}{'executions':>14}{'covered':>10}{'corpus':>8}  findings")
    for each in outcomes:
        print(f"{each.name:24}{each.executions:>14,}{each.covered:>10,}{each.inputs:>8,}  {len(each.findings) or (1 if each.ending else 0)}")
    print(f"{'all':24}{sum(each.executions for each in outcomes):>14,}")
    bad = [each for each in outcomes if each.findings or each.ending]
    for each in bad:
        print(f"FOUND {each.name}: {each.ending}\n" + "".join(f"  {path}\n" for path in each.findings), end="")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
