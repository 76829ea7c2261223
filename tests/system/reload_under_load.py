"""Reloads, good ones and refused ones in turn, while thousands of clients ask without a pause."""

import time

from harness.case import main, wait_for
from harness.load import edition
from harness.scene import ACK, NACK, RELOAD_SECONDS, Scene
from harness.service import RELOADED

CLIENTS, LARGE = 5000, 100_000
SECONDS, SANITIZER_SECONDS = 30, 10
STEADY_SECONDS = 0.2  # of traffic between two reloads
BEGIN_SECONDS, QUIET_SECONDS = 30, 60
QUIET_RELOADS = 3  # what the allocator holds in reserve varies
REFUSED = 0xC0000004
SAME_MEMORY = 1.05

EDITIONS = [edition(number, CLIENTS) for number in range(2)]
# Each is found out at another moment: before the clients, among the last of them, and not at all for want of a file.
CORRUPT = [EDITIONS[0].replace("1,ipaddress", "1", 1), EDITIONS[1] + "\n[Stray]\nIP Address = 10.9.9.9\n", None]


class ReloadUnderLoad(Scene):
    good = 0

    def change_and_refuse(self, load):
        """A good reload, and one that changes nothing, with traffic between and after them."""
        load.due, number = None, (self.good + 1) % 2
        self.assertEqual(self.reload(EDITIONS[number]), ACK)
        wait_for(lambda: load.latest == number, RELOAD_SECONDS, f"replies of edition {number}")
        load.due = number
        time.sleep(STEADY_SECONDS)
        self.assertEqual(self.reload(CORRUPT[self.good % len(CORRUPT)]), NACK)
        time.sleep(STEADY_SECONDS)
        self.good += 1

    def reload_while_clients_ask(self, quiet_threads, seconds, times):
        """For so long, and so many times at least. Returns the memory that is in use when it is quiet again: while clients ask,
        each thread of the pool has its share, and a reload lets further ones start."""
        load, end = self.load(CLIENTS, len(EDITIONS)), time.monotonic() + seconds
        while time.monotonic() < end or self.good < times:
            self.change_and_refuse(load)
        self.assertEqual(load.finish(), [])
        self.assertGreater(min(load.replies), 0, "an edition that never answered")
        wait_for(lambda: self.service.thread_count() <= quiet_threads, QUIET_SECONDS, "the pool shrinks")
        return min(self.quiet_memory() for _ in range(QUIET_RELOADS))

    def quiet_memory(self):
        """After one more reload. Its refused successor is answered when all that isn't in use any more has been released."""
        self.assertEqual((self.reload(EDITIONS[self.good % 2]), self.reload(None)), (ACK, NACK))
        return self.service.memory()

    def test_every_request_gets_the_answer_of_one_database(self):
        self.start_for_load(EDITIONS[0], CacheSize=2 * CLIENTS, EnableLogging=0)
        threads, sanitized = self.service.thread_count(), self.service.is_sanitized()
        settled = self.reload_while_clients_ask(threads, 0, times=3)
        memory = self.reload_while_clients_ask(threads, SANITIZER_SECONDS if sanitized else SECONDS, times=5)
        for number in (RELOADED, REFUSED):
            self.service.await_event(number, count=self.good + 2 * QUIET_RELOADS)
        if not sanitized:
            self.assertLess(memory, settled * SAME_MEMORY)

    def test_no_client_goes_without_an_answer_while_a_large_database_loads(self):
        self.start_for_load(edition(0, LARGE), CacheSize=2 * LARGE, EnableLogging=0)
        load = self.load(CLIENTS, editions=2)
        wait_for(lambda: load.replies[0] > CLIENTS, BEGIN_SECONDS, "the clients are being answered")
        usual = load.longest_gap
        self.assertEqual(self.reload(edition(1, LARGE)), ACK)
        wait_for(lambda: load.latest == 1, BEGIN_SECONDS, "the new database serves")
        self.assertEqual(load.finish(), [])
        print(f"a reload of {LARGE} clients: longest gap between two replies {load.longest_gap:.3f} s ({usual:.3f} s before it)")


if __name__ == "__main__":
    main()
