"""Reloads, good ones and refused ones in turn, while thousands of clients ask without a pause."""

import time

from harness.case import main, wait_for
from harness.load import edition
from harness.loaded_service import ACK, NACK, RELOAD_SECONDS, LoadedService
from harness.service import RELOADED

CLIENTS = 5000
SECONDS, SANITIZER_SECONDS = 30, 10
STEADY_SECONDS = 0.2  # of traffic between two reloads
QUIET_SECONDS = 60
QUIET_RELOADS = 3  # what the allocator holds in reserve varies
REFUSED = 0xC0000004
SAME_MEMORY = 1.05

EDITIONS = [edition(number, CLIENTS) for number in range(2)]
# Each is found out at another moment: before the clients, among the last of them, and not at all for want of a file.
CORRUPT = [EDITIONS[0].replace("1,ipaddress", "1", 1), EDITIONS[1] + "\n[Stray]\nIP Address = 10.9.9.9\n", None]


class ReloadUnderLoad(LoadedService):
    def setUp(self):
        self.start(EDITIONS[0], CacheSize=2 * CLIENTS, EnableLogging=0)
        self.quiet_threads = self.service.thread_count()
        self.good = 0

    def change_and_refuse(self, load):
        """A good reload, and one that changes nothing, with traffic between and behind."""
        load.due, number = None, (self.good + 1) % 2
        self.assertEqual(self.reload(EDITIONS[number]), ACK)
        wait_for(lambda: load.latest == number, RELOAD_SECONDS, f"replies of edition {number}")
        load.due = number
        time.sleep(STEADY_SECONDS)
        self.assertEqual(self.reload(CORRUPT[self.good % len(CORRUPT)]), NACK)
        time.sleep(STEADY_SECONDS)
        self.good += 1

    def reload_while_clients_ask(self, seconds, times=0):
        """For so long, and so many times at least. Answers the memory that is in use when it is quiet again: while clients ask,
        each thread of the pool has its share, and a reload lets further ones start."""
        load, end = self.load(CLIENTS, len(EDITIONS)), time.monotonic() + seconds
        while time.monotonic() < end or self.good < times:
            self.change_and_refuse(load)
        self.assertEqual(load.finish(), [])
        for number, count in enumerate(load.replies):
            self.assertGreater(count, 0, f"edition {number} never answered")
        wait_for(lambda: self.service.thread_count() <= self.quiet_threads, QUIET_SECONDS, "the pool shrinks")
        memory = min(self.quiet_memory() for _ in range(QUIET_RELOADS))
        print(f"after {self.good} reloads and as many refusals: {sum(load.replies)} replies, longest gap "
              f"{load.longest_gap:.3f} s, memory {memory >> 10} KiB")
        return memory

    def quiet_memory(self):
        """Behind one more reload. Its refused successor is answered when all that isn't in use any more has been released."""
        self.assertEqual((self.reload(EDITIONS[self.good % 2]), self.reload(None)), (ACK, NACK))
        return self.service.memory()

    def test_every_request_gets_the_answer_of_one_database(self):
        sanitized = self.service.is_sanitized()
        settled = self.reload_while_clients_ask(0, times=3)
        memory = self.reload_while_clients_ask(SANITIZER_SECONDS if sanitized else SECONDS, times=5)
        self.service.await_event(RELOADED, count=self.good + 2 * QUIET_RELOADS)
        self.service.await_event(REFUSED, count=self.good + 2 * QUIET_RELOADS)
        if not sanitized:
            self.assertLess(memory, settled * SAME_MEMORY)


if __name__ == "__main__":
    main()
