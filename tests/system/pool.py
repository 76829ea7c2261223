"""The pool grows with the load, to its limit and no further, and shrinks when it is quiet."""

import time

from harness import bootp
from harness.case import main, wait_for
from harness.scene import MAC, Scene

LIMIT, LOAD_SECONDS = 3, 3


class Pool(Scene):
    def most_under_load(self):
        most, deadline = 0, time.monotonic() + LOAD_SECONDS
        while time.monotonic() < deadline:
            self.station.send(bootp.request(MAC))
            most = max(most, self.service.thread_count())
            time.sleep(0.002)
        return most

    def test_it_grows_and_shrinks_and_a_rate_of_zero_never_trips(self):
        for rate, grown in ((2, LIMIT), (0, 0)):
            with self.subTest(rate=rate):
                self.start(MaxDaemonThreads=LIMIT, PacketTripRate=rate, DaemonSensitivity=LOAD_SECONDS * 1000)
                self.ask()  # all that a start brings with it is there
                quiet = self.service.thread_count()
                for _ in range(2):  # what has ended can start again
                    self.assertEqual(self.most_under_load(), quiet + grown)
                    wait_for(lambda: self.service.thread_count() == quiet, 10, "the pool shrinks to its first size")


if __name__ == "__main__":
    main()
