"""Faults that the system gives: what the service still does during each, and that it is whole again after it."""

import os
import re
import resource
import subprocess
import tempfile

from harness.case import main, program, wait_for
from harness.network import connect
from harness.service import RELOADED, STARTED
from harness.wire import Station
from mounts import small_disk
from scene import ACK, NACK, Scene

SEND_FAILED = 0xC0000019
TRACE_BEGIN, TRACE_LAST = "\r\nPacket Received:\r\n", "\tReply status: "
PRELOADS = os.environ.get("FAULT_PRELOADS")
LOG_SECONDS = 30
JUMPS = {"30 years ahead": 262_800, "30 years back": -262_800, "to the present": 0, "an hour ahead": 1, "an hour back": -1}


class FullDisk(Scene):
    def setUp(self):
        disk = small_disk(self, 1 << 20)
        tempfile.tempdir, former = disk, tempfile.tempdir
        self.addCleanup(setattr, tempfile, "tempdir", former)
        self.filler = os.path.join(disk, "filler")
        self.start()

    def fill(self):
        with open(self.filler, "wb", buffering=0) as file:
            for size in (4096, 1):
                try:
                    while True:
                        file.write(bytes(size))
                except OSError:
                    pass

    def test_replies_go_on_and_files_stay_whole(self):
        registry = self.service.read("registry.reg")
        self.fill()
        traces = len(self.service.traces())
        for _ in range(20):  # more than the rest of a page holds
            self.expect_reply()
        self.assertLess(len(self.service.traces()) - traces, 20, "the disk was not full")
        self.assertEqual(self.reload_answer(), ACK)
        self.expect_reply()
        result = subprocess.run([program("quillon"), "-install"], env=self.service.environment(), stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, timeout=30, check=False)
        self.assertIn(self.service.read("registry.reg"), (registry, ), result)
        os.remove(self.filler)
        self.expect_whole()
        self.expect_whole_lines()

    def expect_whole_lines(self):
        """At most the text that met the end of the disk is cut; what follows it begins a line of its own."""
        cut = [block for block in self.service.log().split(TRACE_BEGIN)[1:] if TRACE_LAST not in block]
        self.assertLessEqual(len(cut), 1, cut)
        lines = self.service.read("events.log").splitlines()
        whole = [line for line in lines if re.match(r"\S+ (error|warning|information) 0x[0-9A-F]{8} ", line)]
        self.assertLessEqual(len(lines) - len(whole), 1, lines)


class Descriptors(Scene):
    def limit(self, descriptors):
        _, hard = resource.prlimit(self.service.process.pid, resource.RLIMIT_NOFILE)
        resource.prlimit(self.service.process.pid, resource.RLIMIT_NOFILE, (descriptors, hard))

    def test_without_a_free_descriptor(self):
        self.start()
        used = len(os.listdir(f"/proc/{self.service.process.pid}/fd"))
        soft, _ = resource.prlimit(self.service.process.pid, resource.RLIMIT_NOFILE)
        for more in (0, 1):  # one is enough to open a file, but not for a load
            with self.subTest(more=more):
                self.limit(used + more)
                self.expect_reply()
                self.assertEqual(self.reload_answer(), NACK)
                before = self.cpu_seconds()
                self.control("query")
                self.expect_reply()
                self.assertLess(self.cpu_seconds() - before, 0.3, "it spins")
                self.limit(soft)
                self.expect_whole()


class Network(Scene):
    def nft(self, *words):
        result = self.server.run("nft", *words, check=False)
        self.assertEqual(result.returncode, 0, result.stdout)

    def test_a_firewall_that_refuses(self):
        self.start()
        for verdict in ("drop", "reject"):
            with self.subTest(verdict):
                self.nft("add table ip faults; add chain ip faults output { type filter hook output priority 0; };"
                         f"add rule ip faults output udp sport 67 oifname != lo {verdict}")
                failed = self.service.event_numbers().count(SEND_FAILED)
                self.assertIsNone(self.reply(1))
                wait_for(lambda: self.service.event_numbers().count(SEND_FAILED) > failed, LOG_SECONDS, "the event")
                wait_for(lambda: "Status: No reply sent" in self.service.traces()[-1]["Reply status"], LOG_SECONDS, "the status")
                self.nft("delete table ip faults")
                self.expect_whole()

    def test_an_interface_that_goes_and_comes(self):
        self.start(PacketTripRate=2)  # the pool grows and shrinks
        for way in ("down", "address", "delete"):
            with self.subTest(way):
                if way == "down":
                    self.server.ip("link", "set", "lan", "down")
                    self.server.ip("link", "set", "lan", "up")
                elif way == "address":
                    self.server.ip("address", "flush", "dev", "lan")
                    self.assertIsNone(self.reply(1))
                    self.server.address("lan", "10.1.0.1/24")
                else:
                    self.server.ip("link", "delete", "lan")
                    self.replug()
                wait_for(lambda: self.reply(1), LOG_SECONDS, "a reply to a broadcast")
                self.expect_whole()

    def replug(self):
        connect(self.server, "lan", self.machine, "eth0", self.station.mac)
        self.server.address("lan", "10.1.0.1/24")
        self.station = Station(self, self.machine, "eth0", self.station.mac)


class Calls(Scene):
    """With a library in front of the system's calls."""

    def start_with(self, library, **variables):
        if not PRELOADS:
            self.skipTest("a sanitizer's library has to be the first")
        self.start({"LD_PRELOAD": os.path.join(PRELOADS, library), **variables})
        with open(f"/proc/{self.service.process.pid}/maps", encoding="utf-8") as file:
            self.assertIn(library, file.read())

    def test_interrupted_calls(self):
        self.start_with("interrupted_calls.so")
        for _ in range(5):
            self.expect_whole()
        self.assertEqual(set(self.service.event_numbers()), {STARTED, RELOADED}, self.service.report())

    def test_a_clock_that_jumps(self):
        with tempfile.TemporaryDirectory(prefix="quillon-clock-") as folder:
            clock = os.path.join(folder, "clock")
            self.start_with("shifted_clock.so", SHIFTED_CLOCK=clock)
            for moment, hours in JUMPS.items():
                with self.subTest(moment):
                    with open(clock + ".new", "w", encoding="ascii") as file:
                        file.write(str(hours * 3600))
                    os.replace(clock + ".new", clock)
                    self.expect_whole()
            years = {trace["Date"][-2:] for trace in self.service.traces()}
            self.assertGreaterEqual(len(years), 3, "the clock did not jump")


if __name__ == "__main__":
    main("nft")
