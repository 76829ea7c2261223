"""The pool grows with the load, to its limit and no further, and shrinks when it is quiet."""

import time

from harness import bootp
from harness.case import SystemTest, main, wait_for
from harness.database import bootptab
from harness.service import Service
from harness.wire import Station

MAC = "02:00:00:00:0a:01"
LIMIT = 3
LOAD_SECONDS = 3


class Pool(SystemTest):
    def start(self, **parameters):
        server, machine = self.cable(MAC, "10.1.0.1/24")
        self.service = Service(self, server, bootptab({MAC: {"IP Address": "10.1.0.31"}}), MaxDaemonThreads=LIMIT,
                               SecondDaemonThreadTimeout=1, **parameters)
        self.station = Station(self, machine, "eth0", MAC)
        self.station.ask(bootp.request(MAC))  # all that a start brings with it is there
        return self.service.thread_count()

    def most_under_load(self):
        most, deadline = 0, time.monotonic() + LOAD_SECONDS
        while time.monotonic() < deadline:
            self.station.send(bootp.request(MAC))
            most = max(most, self.service.thread_count())
            time.sleep(0.002)
        return most

    def test_it_grows_and_shrinks(self):
        # A start and an answer: one datagram so far, and the second is the first that can start a thread.
        quiet = self.start(PacketTripRate=2, DaemonSensitivity=LOAD_SECONDS * 1000)
        for _ in range(2):  # what has ended can start again
            self.assertEqual(self.most_under_load(), quiet + LIMIT)
            wait_for(lambda: self.service.thread_count() == quiet, 10, "the pool shrinks to its first size")

    def test_a_rate_of_zero_never_trips(self):
        quiet = self.start(PacketTripRate=0, DaemonSensitivity=500000)
        self.assertEqual(self.most_under_load(), quiet)


if __name__ == "__main__":
    main()
