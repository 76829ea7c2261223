"""Addresses and links come and go while the service runs."""

import re
import time

from harness import bootp
from harness.case import SystemTest, main, wait_for
from harness.database import bootptab
from harness.network import connect
from harness.service import Service
from harness.wire import Station

MAC = "02:00:00:00:07:01"
PROMISED = 2  # seconds from the change to the new sockets
TRIALS = 8


class AddressChange(SystemTest):
    def start(self, **parameters):
        self.server, self.machine = self.cable(MAC, "10.1.0.1/24")
        self.service = Service(self, self.server, bootptab({MAC: {"IP Address": "10.1.0.31"}}), **parameters)
        self.station = Station(self, self.machine, "eth0", MAC)

    def bound(self):
        """The addresses of the latest binding line of the log: the system's, from the last to the first."""
        lines = re.findall(r"\*\* Bound to: (.*?)\.\r\n", self.service.log())
        return lines[-1].split(", ") if lines else []

    def expect_bound(self, *addresses):
        wait_for(lambda: self.bound() == list(addresses), 10, f"bound to {addresses}; the log:\n{self.service.log()}")

    def answering(self):
        self.station.send(bootp.request(MAC))
        return {answer.source for answer in self.station.replies_within(0.5)}

    def test_the_sockets_follow(self):
        self.start()
        self.expect_bound("10.1.0.1", "127.0.0.1")
        begun = time.monotonic()
        self.server.address("lan", "10.1.0.2/24")
        self.expect_bound("10.1.0.2", "10.1.0.1", "127.0.0.1")
        self.assertLessEqual(time.monotonic() - begun, PROMISED)
        self.assertEqual(self.answering(), {"10.1.0.1", "10.1.0.2"})
        # Taking the first address of a subnet would take its others along.
        self.server.ip("address", "delete", "10.1.0.2/24", "dev", "lan")
        self.expect_bound("10.1.0.1", "127.0.0.1")
        self.assertEqual(self.answering(), {"10.1.0.1"})

    def burst(self, quiet):
        """The pool grows to its limit and shrinks again; which of its threads stays is a matter of luck."""
        def grown():
            self.station.send(bootp.request(MAC, flags=bootp.BROADCAST_FLAG))
            return self.service.thread_count() == quiet + 3
        wait_for(grown, 20, "the pool grows")
        wait_for(lambda: self.service.thread_count() == quiet, 20, "the pool shrinks")

    def replug(self):
        """The link is deleted and made again, with the same address."""
        self.server.ip("link", "delete", "lan")
        connect(self.server, "lan", self.machine, "eth0", MAC)
        self.server.address("lan", "10.1.0.1/24")
        self.station = Station(self, self.machine, "eth0", MAC)

    def test_the_sockets_follow_after_a_burst(self):
        self.start(PacketTripRate=2, DaemonSensitivity=60000, MaxDaemonThreads=3)
        self.answering()  # all that a start brings with it is there
        quiet = self.service.thread_count()
        for trial in range(TRIALS):
            self.burst(quiet)
            self.server.address("lan", "10.1.0.2/24")
            self.expect_bound("10.1.0.2", "10.1.0.1", "127.0.0.1")
            self.replug()
            # Not by the log: the line is the same before and after.
            wait_for(lambda: self.answering() == {"10.1.0.1"}, 10, f"the new link's broadcasts in trial {trial}")


if __name__ == "__main__":
    main()
