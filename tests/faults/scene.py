"""A service that is to stand a fault of its surroundings, with a client and an operator who ask before, during and after it."""

import time

from harness import bootp
from harness.case import wait_for
from harness.database import bootptab
from harness.scene import ACK, MAC, Scene
from harness.service import Service

ANSWER_SECONDS = 30


def edition(number):
    return bootptab({MAC: {"IP Address": f"10.1.0.{100 + number}", "Boot File": f"edition-{number}"}})


class PreloadedService(Service):
    """`preload`: variables that the service has in its environment, and nothing else that is run."""
    preload = {}

    def environment(self, **more):
        return super().environment(**more, **(self.preload if "NOTIFY_SOCKET" in more else {}))


class FaultScene(Scene):
    def begin(self, preload=None, **parameters):
        kind = type("Preloaded", (PreloadedService,), {"preload": preload or {}})
        self.start(edition(0), kind=kind, **{"StaticArpTimeout": 1, **parameters})
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

    def expect_whole(self):
        """All that the service does works: replies, a reload, the log, controls."""
        self.expect_reply()
        self.current += 1
        self.service.write("bootptab", edition(self.current))
        self.assertEqual(self.reload_answer(), ACK, self.service.report())
        traces = len(self.service.traces())
        self.expect_reply()
        wait_for(lambda: len(self.service.traces()) > traces, ANSWER_SECONDS, "a trace")
        self.control("pause")
        self.control("continue")
        self.assertIn("RUNNING", self.control("query"))
        self.expect_reply()
