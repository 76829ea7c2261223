"""Faults that the system gives: what the service still does during each, and that it is whole again after it."""

import contextlib
import os
import re
import resource
import select
import socket
import subprocess
import tempfile
import unittest

from harness.case import SystemTest, main, program, wait_for
from harness.scene import ACK, NACK
from harness.service import RELOADED, STARTED, Home
from mounts import small_disk
from scene import FaultScene, edition

SEND_FAILED = 0xC0000019
TRACE_BEGIN, TRACE_LAST = "\r\nPacket Received:\r\n", "\tReply status: "
PRELOAD = os.environ.get("FAULT_PRELOAD")
LOG_SECONDS = 30
JUMPS = {"30 years ahead": 262_800, "30 years back": -262_800, "to the present": 0, "an hour ahead": 1, "an hour back": -1}


class FullDisk(FaultScene):
    def setUp(self):
        disk = small_disk(self, 1 << 20)
        tempfile.tempdir, former = disk, tempfile.tempdir
        self.addCleanup(setattr, tempfile, "tempdir", former)
        self.filler = os.path.join(disk, "filler")
        self.begin()

    def fill(self):
        with open(self.filler, "wb", buffering=0) as file:
            for size in (4096, 1):
                with contextlib.suppress(OSError):
                    while True:
                        file.write(bytes(size))

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
        self.assertEqual(self.service.read("registry.reg"), registry, result)
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


class Descriptors(FaultScene):
    def test_without_a_free_descriptor(self):
        self.begin()
        pid = self.service.process.pid
        used = len(os.listdir(f"/proc/{pid}/fd"))
        soft, hard = resource.prlimit(pid, resource.RLIMIT_NOFILE)
        for more in (0, 1):  # one is enough to open a file, but not for a load
            with self.subTest(more=more):
                resource.prlimit(pid, resource.RLIMIT_NOFILE, (used + more, hard))
                self.expect_reply()
                self.assertEqual(self.reload_answer(), NACK)
                self.server.run(program("quillonctl"), "query", env=self.service.environment(), check=False)
                self.expect_reply()
                resource.prlimit(pid, resource.RLIMIT_NOFILE, (soft, hard))
                self.expect_whole()


@unittest.skipUnless(PRELOAD, "a sanitizer needs more address space than any limit leaves")
class Limits(SystemTest):
    """The start, with too little address space or too few threads: it succeeds, or it fails with an event and a text."""

    def expect_start_or_report(self, *limit, user=0):
        """Whether it came up."""
        home = Home(self, edition(0), LocalAddrs="127.0.0.1")
        home.write("services", "bootp 0/udp\n")  # any port, which any user may have
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager, open(home.path("output"), "wb") as output:
            manager.bind(home.path("notify"))
            for path in (home.folder, *map(home.path, os.listdir(home.folder))):
                os.chown(path, user, user)
            process = self.network().start(["setpriv", f"--reuid={user}", "--clear-groups", "prlimit", *limit, program("quillon")],
                                           cwd=home.folder, env=home.environment(NOTIFY_SOCKET=home.path("notify")), stderr=output)
            running = False
            while process.poll() is None:
                if select.select([manager], [], [], 0.05)[0] and manager.recv(1000).startswith(b"READY=1"):
                    running = True
                    process.terminate()
        said = f"{limit}: {process.returncode}\n{home.read('output')}{home.read('events.log')}"
        if not running or process.returncode != 0:
            self.assertGreater(process.returncode, 0, said)
            self.assertTrue(home.read("output"), said)
            # What the program loader can't load has no events.
            self.assertTrue(home.read("events.log") or process.returncode == 127, said)
        return running and process.returncode == 0

    def test_address_space(self):
        up = {self.expect_start_or_report(f"--as={megabytes << 20}") for megabytes in range(10, 161, 5)}
        self.assertEqual(up, {False, True})

    def test_threads_of_a_user_without_other_processes(self):
        self.assertIn(False, [self.expect_start_or_report(f"--nproc={threads}", user=61977) for threads in range(1, 9)])


class Network(FaultScene):
    def nft(self, *words):
        result = self.server.run("nft", *words, check=False)
        self.assertEqual(result.returncode, 0, result.stdout)

    def test_a_firewall_that_refuses(self):
        self.begin()
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
        self.begin(PacketTripRate=1000)  # no second thread
        self.server.ip("link", "set", "lan", "down")
        self.server.ip("link", "set", "lan", "up")
        wait_for(lambda: self.reply(1), LOG_SECONDS, "a reply to a broadcast")
        self.expect_whole()
        self.server.ip("address", "flush", "dev", "lan")
        self.assertIsNone(self.reply(1))
        self.server.address("lan", "10.1.0.1/24")
        wait_for(lambda: self.reply(1), LOG_SECONDS, "a reply to a broadcast")
        self.expect_whole()


@unittest.skipUnless(PRELOAD, "a sanitizer's library has to be the first")
class Calls(FaultScene):
    """With a library in front of the system's calls."""

    def begin_with(self, **variables):
        self.begin({"LD_PRELOAD": PRELOAD, **variables})
        with open(f"/proc/{self.service.process.pid}/maps", encoding="utf-8") as file:
            self.assertIn(PRELOAD, file.read())

    def test_interrupted_calls(self):
        self.begin_with(INTERRUPTED_CALLS="1")
        for _ in range(15):
            self.expect_whole()
        self.assertEqual(self.service.event_numbers(), [STARTED] + [RELOADED] * self.current, self.service.report())

    def test_a_clock_that_jumps(self):
        with tempfile.TemporaryDirectory(prefix="quillon-clock-") as folder:
            clock = os.path.join(folder, "clock")
            self.begin_with(SHIFTED_CLOCK=clock)
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
