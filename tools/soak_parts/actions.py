"""What is done to the service during a soak run. Each action is whole: it leaves the service serving."""

import os
import time

import traffic
from harness.case import program, wait_for

REQUEST, ACK, NACK = b"RELOAD REQ\0", b"RELOAD ACK\0", b"RELOAD NACK\0"
ANSWER_SECONDS = 60
LULL_SECONDS = 0.4
QUIET_SECONDS = 2.5  # all threads of the pool but one end
LOG_LIMIT = 64 << 20
BOUND_SECONDS = 10


class Actions:
    """`fault(text)` is called for each promise that the service breaks."""

    def __init__(self, server, service, load, dice, fault):
        self._server, self._service, self._load, self._dice, self._fault = server, service, load, dice, fault
        self._editions, self._current = [traffic.edition(0), traffic.edition(1)], 0
        self._operator = server.socket()
        self._operator.settimeout(ANSWER_SECONDS)
        self.refusals = self.reloads = 0
        self._kinds = [(4, "reload", self._reload), (3, "reload", self._reload_by_command), (1, "refusal", self._refusal),
                       (2, "pause", self._pause), (2, "address", self._address), (1, "address", self._interface),
                       (1, "address", self._cable), (2, "rotation", self._rotation), (2, "query", self._query),
                       (2, "lull", self._lull)]

    def close(self):
        self._operator.close()

    def one(self):
        """Does one of them, drawn by weight, and returns its kind."""
        if os.path.getsize(self._service.path("bootps.log")) > LOG_LIMIT:
            self._rotation()
            return "rotation"
        weights = [weight for weight, _, _ in self._kinds]
        _, kind, action = self._dice.choices(self._kinds, weights)[0]
        action()
        return kind

    def _expect(self, found, due, what):
        if found != due:
            self._fault(f"{what}: {found!r}")

    def _control(self, *words, code=0):
        result = self._server.run(program("quillonctl"), *words, env=self._service.environment(), check=False)
        self._expect(result.returncode, code, f"quillonctl {' '.join(words)} said {result.stdout!r} and ended with")
        return result.stdout

    def _replace_database(self, text):
        self._service.write("bootptab.new", text)
        os.replace(self._service.path("bootptab.new"), self._service.path("bootptab"))

    def _reload_answer(self):
        self._operator.sendto(REQUEST, ("127.0.0.1", 67))
        try:
            return self._operator.recv(100)
        except TimeoutError:
            return None

    def _next_edition(self):
        self._current = 1 - self._current
        self._replace_database(self._editions[self._current])
        self.reloads += 1

    def _reload(self):
        self._next_edition()
        self._expect(self._reload_answer(), ACK, "a reload")

    def _reload_by_command(self):
        self._next_edition()
        self._control("reload")

    def _refusal(self):
        self._replace_database("[stray]\n" + self._editions[self._current])
        self.refusals += 1
        self._expect(self._reload_answer(), NACK, "a reload of a corrupt database")
        self._replace_database(self._editions[self._current])

    def _pause(self):
        self._load.open_window()
        self._control("pause")
        time.sleep(self._dice.uniform(0, 3 * LULL_SECONDS))
        if "PAUSED" not in self._control("query"):
            self._fault("paused, and not PAUSED")
        self._control("continue")
        self._load.close_window("a pause")

    def _bound(self):
        """The latest binding line of the log."""
        lines = [line for line in self._service.log().splitlines() if line.startswith("** Bound to:")]
        return lines[-1] if lines else ""

    def _expect_bound(self, address, expected):
        try:
            wait_for(lambda: (f" {address}," in (line := self._bound()) or f" {address}." in line) == expected,
                     BOUND_SECONDS, "bound anew")
        except AssertionError:
            self._fault(f"{address} came or went, and the sockets didn't follow: {self._bound()}")

    def _come_and_go(self, address, come, go, what):
        self._load.open_window()
        come()
        self._expect_bound(address, True)
        go()
        self._expect_bound(address, False)
        self._load.close_window(what)

    def _address(self):
        address = f"10.1.0.{self._dice.randrange(10, 100)}"
        self._come_and_go(address, lambda: self._server.address("lan", address + traffic.SUBNET),
                          lambda: self._server.ip("address", "delete", address + traffic.SUBNET, "dev", "lan"),
                          "an address came and went")

    def _interface(self):
        def come():
            self._server.ip("link", "add", "extra", "type", "veth", "peer", "name", "far")
            self._server.ip("link", "set", "far", "up")
            self._server.ip("link", "set", "extra", "up")
            self._server.address("extra", "10.2.0.1/24")
        self._come_and_go("10.2.0.1", come, lambda: self._server.ip("link", "delete", "extra"),
                          "an interface came and went")

    def _cable(self):
        self._load.open_window()
        self._server.ip("link", "set", "lan", "down")
        time.sleep(self._dice.uniform(0, LULL_SECONDS))
        self._server.ip("link", "set", "lan", "up")
        self._load.close_window("the cable was pulled and plugged in")

    def _rotation(self):
        old = self._service.path("bootps.log.1")
        os.replace(self._service.path("bootps.log"), old)
        self._reload()
        if not os.path.exists(self._service.path("bootps.log")):
            self._fault("no new log after a rotation")
        with open(old, "rb") as file:
            file.seek(-2, os.SEEK_END)
            self._expect(file.read(), b"\r\n", "a log that was put aside ends in the middle of a line")
        os.remove(old)

    def _lull(self):
        self._load.lull(QUIET_SECONDS)

    def _query(self):
        self._control("interrogate")
        if "RUNNING" not in self._control("query"):
            self._fault("serving, and not RUNNING")
