"""Addresses come and go while the service runs."""

import re
import time

from harness import bootp
from harness.case import SystemTest, main, wait_for
from harness.database import bootptab
from harness.service import Service
from harness.wire import Station

MAC = "02:00:00:00:07:01"
PROMISED = 2  # seconds from the change to the new sockets


class AddressChange(SystemTest):
    def setUp(self):
        self.server, machine = self.cable(MAC, "10.1.0.1/24")
        self.service = Service(self, self.server, bootptab({MAC: {"IP Address": "10.1.0.31"}}))
        self.station = Station(self, machine, "eth0", MAC)

    def bound(self):
        """The addresses of the latest binding line of the log."""
        lines = re.findall(r"\*\* Bound to: (.*?)\.\r\n", self.service.log())
        return set(lines[-1].split(", ")) if lines else set()

    def expect_bound(self, *addresses):
        begun = time.monotonic()
        wait_for(lambda: self.bound() == set(addresses), 10, f"bound to {addresses}; the log:\n{self.service.log()}")
        self.assertLessEqual(time.monotonic() - begun, PROMISED)

    def test_the_sockets_follow(self):
        self.assertEqual(self.bound(), {"127.0.0.1", "10.1.0.1"})
        self.server.address("lan", "10.1.0.2/24")
        self.expect_bound("127.0.0.1", "10.1.0.1", "10.1.0.2")
        self.assertEqual(self.answering(), {"10.1.0.1", "10.1.0.2"})
        # Taking the first address of a subnet would take its others along.
        self.server.ip("address", "delete", "10.1.0.2/24", "dev", "lan")
        self.expect_bound("127.0.0.1", "10.1.0.1")
        self.assertEqual(self.answering(), {"10.1.0.1"})

    def answering(self):
        self.station.send(bootp.request(MAC))
        return {answer.source for answer in self.station.replies_within(1)}


if __name__ == "__main__":
    main()
