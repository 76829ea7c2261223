"""kill -9 at any moment of a load, a reload, a write of the registry and of the log: the next start works, and no file is half
written."""

import os
import random
import re
import signal
import socket
import subprocess
import time

from harness import bootp
from harness.case import main, program, wait_for
from harness.load import RELAY, SERVER
from harness.scene import MAC, RELOAD, Scene
from harness.service import PARAMETERS, Home
from scene import edition

ROUNDS = 50  # of each of the four kinds
START_SECONDS, COMMAND_SECONDS = 30, 30
PAGE = os.sysconf("SC_PAGE_SIZE")
EVENT = re.compile(r"\S+ (error|warning|information) 0x[0-9A-F]{8} Quillon: .*")
BANNER_CUT = re.compile(r"\d\d/\d\d/\d\d( {3}(\d\d:\d\d:\d\d)?)?\Z")
BLOCK_BEGIN, BLOCK_LAST = "Packet Received:\r\n", "\tReply status: "


def received(from_socket):
    try:
        return from_socket.recv(2000)
    except BlockingIOError:
        return b""


class Kills(Scene):
    def setUp(self):
        self.server, self.machine = self.cable(MAC, SERVER + "/24")
        self.machine.address("eth0", RELAY + "/24")
        self.socket = self.asking(self.machine, RELAY, 67, seconds=0)
        self.home, self.dice, self.xid = Home(self, edition(0)), random.Random(14), 0
        self.manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.manager.close)
        self.manager.bind(self.home.path("notify"))
        self.manager.setblocking(False)

    def launch(self):
        process = self.server.start([program("quillon")], cwd=self.home.folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                    env=self.home.environment(NOTIFY_SOCKET=self.home.path("notify")))
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def kill(self, process, seconds):
        time.sleep(self.dice.uniform(0, seconds))
        process.send_signal(signal.SIGKILL)
        process.wait()
        while received(self.manager):  # a start waits for a manager that has too much to read
            pass

    def ask(self):
        self.xid += 1
        self.socket.sendto(bootp.request(MAC, xid=self.xid, giaddr=RELAY), (SERVER, 67))

    def replied(self, first):
        """A reply to the request of this number or a later one."""
        while data := received(self.socket):
            reply = bootp.parse(data)
            if reply is not None and reply.xid >= first:  # the other is the answer to a reload
                return reply
        return None

    def expect_service(self, process, number):
        """It starts and serves this edition."""
        first = self.xid + 1

        def probe():
            self.assertIsNone(process.poll(), self.home.read("events.log")[-2000:])
            self.ask()
            return self.replied(first)
        reply = wait_for(probe, START_SECONDS, f"a reply; events: {self.home.read('events.log')[-2000:]}")
        self.assertEqual((reply.yiaddr, reply.file), (f"10.1.0.{100 + number}", f"edition-{number}"))

    def expect_whole_files(self):
        """A kill ends a write where a page of the file ends, and nowhere else; what was being written is cut there. A banner is
        written in four pieces."""
        events, log = self.home.read("events.log"), BANNER_CUT.sub("", self.home.log())
        lines, blocks = events.splitlines(), log.split(BLOCK_BEGIN)
        for text, end, parts in ((events, "\n", lines), (log, "\r\n", blocks)):
            if text and len(text) % PAGE == 0:
                parts.pop()
            else:
                self.assertTrue(not text or text.endswith(end), text[-300:])
        for line in lines:
            self.assertRegex(line, EVENT)
        for block in blocks[1:]:
            self.assertIn(BLOCK_LAST, block)
        for name in ("events.log", "bootps.log"):  # they begin anew, so that reading them stays short
            if os.path.exists(self.home.path(name)):
                os.remove(self.home.path(name))

    def test_during_loads(self):
        begun = time.monotonic()
        process = self.launch()
        self.expect_service(process, 0)
        took = time.monotonic() - begun
        self.kill(process, 0)
        for _ in range(ROUNDS):
            self.kill(self.launch(), took)
            self.expect_whole_files()
        self.expect_service(self.launch(), 0)

    def test_during_reloads_and_log_writes(self):
        for number in range(ROUNDS):
            process = self.launch()
            self.expect_service(process, number)
            for _ in range(30):
                self.ask()
            self.kill(process, 0.003)
            self.expect_whole_files()
            process = self.launch()
            self.expect_service(process, number)
            self.home.write("bootptab", edition(number + 1))  # what is on the disk counts at the next start
            self.socket.sendto(RELOAD, (SERVER, 67))
            self.kill(process, 0.005)
            self.expect_whole_files()
        self.expect_service(self.launch(), ROUNDS)

    def quillon(self, *words):
        return subprocess.run([program("quillon"), *words], env=self.home.environment(), stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, timeout=COMMAND_SECONDS, check=False)

    def test_during_registry_writes(self):
        """An install that was killed leaves a file that can be read, and the next one finishes it."""
        registry = self.home.path("registry.reg")
        os.remove(registry)
        begun = time.monotonic()
        self.assertEqual(self.quillon("-install").returncode, 0)
        took = time.monotonic() - begun
        for number in range(ROUNDS):
            if os.path.exists(registry):
                os.remove(registry)
            process = subprocess.Popen([program("quillon"), "-install"], env=self.home.environment(), stdout=subprocess.DEVNULL)
            self.kill(process, 1.2 * took)
            written = self.home.read("registry.reg")
            self.assertTrue(not written or written.endswith("\n"), written)
            for line in written.splitlines()[1:]:
                self.assertRegex(line, r'^(|\[HKEY_LOCAL_MACHINE\\[^\]]+\]|"[^"]+"=.+)$')
            if number % 5 == 4:
                self.quillon("-install")
                self.assertTrue(all(f'"{name}"=' in self.home.read("registry.reg") for name in PARAMETERS))
        self.assertEqual([name for name in os.listdir(self.home.folder) if "registry.reg." in name and "lock" not in name], [])
        self.expect_service(self.launch(), 0)


if __name__ == "__main__":
    main()
