"""Runs the service for hours under mixed load and says whether it stayed as it was. See tools/soak --help."""

import argparse
import collections
import dataclasses
import json
import pathlib
import random
import re
import subprocess
import sys
import threading
import time

import drawing
import samples
from actions import Actions
from harness.case import SystemTest, obstacle
from harness.service import STARTED, TERMINATED, Service
from traffic import RELAY, SERVER, SUBNET, Traffic, edition

MOST_FAULTS = 20  # more of them say nothing new
SAMPLES = 3000
STOPPED = "--- Quillon service stopped ---\r\n"

# What may stand in the event log besides refusals, and what makes it stand there.
EXPECTED_EVENTS = {
    STARTED: "the start", TERMINATED: "the end", 0x00000003: "reloads",
    0x8000001B: "hostile requests of another hardware type",
    0xC0000019: "replies to hostile requests, with no route or during a pulled cable",
    0xC0000022: "hostile requests whose hardware address makes no ARP entry",
}
REFUSED, CORRUPT = 0xC0000004, 0xC0000006


class EventTail:
    """Counts the events as they come."""

    def __init__(self, path):
        self._file = open(path, encoding="latin-1", newline="\n")  # pylint: disable=consider-using-with
        self._half = ""
        self.counts = collections.Counter()
        self.examples = {}

    def read(self):
        lines = (self._half + self._file.read()).split("\n")
        self._half = lines.pop()
        for line in lines:
            match = re.match(r"\S+ (?:error|warning|information) (0x[0-9A-F]{8}) ", line)
            number = int(match[1], 16) if match else -1
            self.counts[number] += 1
            self.examples.setdefault(number, line)


class Soak(SystemTest):
    """Borrows the clean-up of a test case."""

    def runTest(self):
        """Only so that it can be made."""

    def prepare(self, options):
        self.options, self.faults, self.marks, self.samples = options, [], [], []
        server, machine = self.cable("02:00:00:fe:00:01", SERVER + SUBNET)
        machine.address("eth0", RELAY + SUBNET)
        self.service = Service(self, server, edition(0), CacheSize=800, StaticArpTimeout=5, PacketTripRate=20,
                               ExpireSeconds=5, EnableLogging=1)
        self.events = EventTail(self.service.path("events.log"))
        self.load = Traffic(machine, options.rate, options.seed, self.fault)
        self.actions = Actions(server, self.service, self.load, random.Random(options.seed + 1), self.fault)
        self.addCleanup(self.actions.close)

    def fault(self, text):
        if len(self.faults) < MOST_FAULTS:
            self.faults.append(text)
            now = time.monotonic() - self.begun
            latest = ", ".join(f"{kind} at {second:.1f}" for second, kind in self.marks[-10:] if now - second < 40)
            print(f"FAULT after {now:.1f} s: {text}\n  before it: {latest}", flush=True)

    def run_for(self, seconds):
        self.begun = time.monotonic()
        self.load.start()
        over = threading.Event()
        sampling = threading.Thread(target=self._sample, args=(over, max(0.25, seconds / SAMPLES)))
        sampling.start()
        try:
            self._act(seconds)
        except (AssertionError, subprocess.TimeoutExpired) as failure:
            self.fault(str(failure))
        over.set()
        sampling.join()
        if self.service.process.poll() is not None:
            self.fault(f"the service ended with {self.service.process.returncode}: {self.service.report()[-2000:]}")

    def _sample(self, over, interval):
        while self.service.process.poll() is None:
            now = time.monotonic() - self.begun
            self.samples.append(samples.take(now, self.service.process.pid, self.load.counts.answered))
            self.events.read()
            if over.wait(interval):
                break

    def _act(self, seconds):
        dice, next_word = random.Random(self.options.seed + 2), 60
        while (now := time.monotonic() - self.begun) < seconds and self.service.process.poll() is None:
            if now >= next_word:
                next_word += 60
                print(f"{now / 60:.0f} min: {self.figures()}", flush=True)
            kind = self.actions.one()
            self.marks.append((now, kind))
            time.sleep(max(0.0, min(dice.uniform(0, 2 * self.options.pause), seconds - now)))

    def end(self):
        self.load.finish()
        try:
            self.service.stop()
        except AssertionError as failure:
            self.fault(str(failure)[:2000])
        self.events.read()
        if not self.service.log().endswith(STOPPED):
            self.fault("the log doesn't end with the stop banner")
        self.judge_events()
        for text in samples.growth(self.samples):
            self.fault(text)

    def judge_events(self):
        counts = self.events.counts
        for number, count in counts.items():
            if number not in EXPECTED_EVENTS and number not in (REFUSED, CORRUPT):
                self.fault(f"{count} unexpected events, the first: {self.events.examples[number]}")
        due = {STARTED: 1, TERMINATED: 1, REFUSED: self.actions.refusals, CORRUPT: self.actions.refusals,
               0x00000003: self.actions.reloads}
        for number, count in due.items():
            if counts[number] != count:
                self.fault(f"{counts[number]} events {number:#010x}, not {count}")

    def figures(self):
        counts, last = self.load.counts, self.samples[-1]
        return (f"{counts.answered} of {counts.known} known clients answered ({counts.lost_in_windows} lost in windows), "
                f"{counts.unknown} unknown, {counts.hostile} hostile, {last.dropped} without room; {last.memory / 1e6:.1f} MB, "
                f"{last.descriptors} descriptors, {last.threads} threads, {last.cpu:.0f} s of CPU")

    def write(self, folder):
        folder.mkdir(parents=True, exist_ok=True)
        (folder / "soak.svg").write_text(drawing.draw(self.samples, self.marks), encoding="utf-8")
        report = {"hours": self.options.hours, "rate": self.options.rate, "seed": self.options.seed,
                  "counts": dataclasses.asdict(self.load.counts), "actions": collections.Counter(kind for _, kind in self.marks),
                  "events": {f"{number:#010x}": count for number, count in sorted(self.events.counts.items())},
                  "faults": self.faults, "samples": [dataclasses.astuple(each) for each in self.samples]}
        (folder / "soak.json").write_text(json.dumps(report) + "\n", encoding="utf-8")


def parse(words):
    parser = argparse.ArgumentParser(prog="tools/soak", description="Runs the service in namespaces of its own under mixed load, "
                                     "with reloads, pauses, address changes, log rotation and controls. Ends with 0 if it stayed "
                                     "as it was, else with 1.")
    parser.add_argument("hours", nargs="?", type=float, default=1.0, help="how long; fractions are welcome (1)")
    parser.add_argument("--rate", type=float, default=400, help="datagrams a second at most, of all kinds (400)")
    parser.add_argument("--pause", type=float, default=4, help="seconds between two actions, on the average (4)")
    parser.add_argument("--seed", type=int, default=20, help="what the random choices follow from (20)")
    parser.add_argument("--out", type=pathlib.Path, default=pathlib.Path("build/soak"), help="folder for the picture and the figures")
    options = parser.parse_args(words)
    if not options.hours > 0 or options.rate < 1 or options.pause <= 0:
        parser.error("hours, the rate and the pause have to be above zero")
    return options


def main():
    options = parse(sys.argv[1:])
    if (reason := obstacle()) is not None:
        sys.exit(f"It can't run: {reason}")
    print(f"{options.hours:g} h at {options.rate:g} datagrams a second", flush=True)
    soak = Soak()
    try:
        soak.prepare(options)
        soak.run_for(options.hours * 3600)
        soak.end()
        soak.write(options.out)
    finally:
        soak.doCleanups()
    print(f"{soak.figures()}\nslowest reply {soak.load.counts.slowest:.2f} s; {soak.actions.reloads} reloads, {soak.actions.refusals} "
          f"refusals; {collections.Counter(kind for _, kind in soak.marks).most_common()}\n"
          f"events {({f'{number:#010x}': count for number, count in soak.events.counts.items()})}\n{options.out}/soak.svg")
    print(f"verdict: {'FAILED, ' + str(len(soak.faults)) + ' faults' if soak.faults else 'good'}")
    return 1 if soak.faults else 0


if __name__ == "__main__":
    sys.exit(main())
