"""A service that is to stand a fault of its surroundings, with a client and an operator who ask before, during and after it."""

import os
import time

from harness import bootp
from harness.case import SystemTest, program, wait_for
from harness.database import bootptab
from harness.service import Service
from harness.wire import Station

MAC = "02:00:00:00:0f:01"
REQUEST, ACK, NACK = b"RELOAD REQ\0", b"RELOAD ACK\0", b"RELOAD NACK\0"
ANSWER_SECONDS = 30


def edition(number):
    return bootptab({MAC: {"IP Address": f"10.1.0.{100 + number}", "Boot File": f"edition-{number}"}})


class PreloadedService(Service):
    """`preload`: variables that the service has in its environment, and nothing else that is run."""
    preload = {}

    def environment(self, **more):
        return super().environment(**more, **(self.preload if "NOTIFY_SOCKET" in more else {}))


class Scene(SystemTest):
    def start(self, preload=None, **parameters):
        self.server, self.machine = self.cable(MAC, "10.1.0.1/24")
        kind = type("Preloaded", (PreloadedService,), {"preload": preload or {}})
        self.service = kind(self, self.server, edition(0), **{"StaticArpTimeout": 1, **parameters})
        self.station = Station(self, self.machine, "eth0", MAC)
        self.xid, self.current = 0x1000, 0
        self.expect_whole()

    def reply(self, seconds=ANSWER_SECONDS):
        """The reply to a request of this moment; None if there is none in this time."""
        self.xid += 1
        self.station.send(bootp.request(MAC, xid=self.xid))
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            datagram = self.station.next_reply()
            if datagram is not None and datagram.reply.xid == self.xid:
                return datagram.reply
            time.sleep(0.01)
        return None

    def expect_reply(self):
        reply = self.reply()
        self.assertIsNotNone(reply, f"no reply\n{self.service.report()}")
        self.assertEqual((reply.yiaddr, reply.file), (f"10.1.0.{100 + self.current}", f"edition-{self.current}"))

    def reload_answer(self):
        with self.server.socket() as operator:
            operator.settimeout(ANSWER_SECONDS)
            operator.sendto(REQUEST, ("127.0.0.1", 67))
            return operator.recv(100)

    def expect_reload(self):
        self.current += 1
        self.service.write("bootptab", edition(self.current))
        self.assertEqual(self.reload_answer(), ACK, self.service.report())

    def control(self, *words):
        return self.server.run(program("quillonctl"), *words, env=self.service.environment(), check=False)

    def expect_control(self, *words):
        result = self.control(*words)
        self.assertEqual(result.returncode, 0, f"{words}: {result.stdout}\n{self.service.report()}")
        return result.stdout

    def expect_whole(self):
        """All that the service does works: replies, a reload, the log, controls."""
        self.expect_reply()
        self.expect_reload()
        self.expect_reply()
        traces = len(self.service.traces())
        self.expect_reply()
        wait_for(lambda: len(self.service.traces()) > traces, ANSWER_SECONDS, "a trace")
        self.expect_control("pause")
        self.expect_control("continue")
        self.assertIn("RUNNING", self.expect_control("query"))
        self.expect_reply()

    def expect_event(self, number):
        self.service.await_event(number, ANSWER_SECONDS)

    def cpu_seconds(self):
        with open(f"/proc/{self.service.process.pid}/stat", encoding="ascii") as file:
            fields = file.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")
