"""Stops and pauses while thousands of clients ask: the service ends in order, and whoever asked during a pause is answered
behind it."""

import os
import signal
import time

from harness.case import main, wait_for
from harness.load import edition
from harness.loaded_service import ACK, LoadedService
from harness.service import END_SECONDS, TERMINATED

CLIENTS = 3000
BEGIN_SECONDS = 30
PAUSES = 10
LULL_SECONDS = 0.3

STOPPED = "--- Quillon service stopped ---\r\n"


class EndUnderLoad(LoadedService):
    def setUp(self):
        self.start(edition(0, CLIENTS), CacheSize=2 * CLIENTS)
        self.asking = self.load(CLIENTS)
        wait_for(lambda: self.asking.replies[0] > CLIENTS, BEGIN_SECONDS, "the clients are being answered")

    def pause(self):
        self.control("pause")

    def terminate(self):
        self.service.process.send_signal(signal.SIGTERM)

    def expect_end_in_order(self):
        self.assertEqual(self.service.process.wait(END_SECONDS), 0, self.service.report())
        self.assertEqual(self.asking.abandon(), [])
        self.assertEqual(self.service.event_numbers()[-1], TERMINATED)
        self.assertEqual(self.service.event_numbers().count(TERMINATED), 1)
        log = self.service.log()
        self.assertEqual(log.count(STOPPED), 1)
        self.assertTrue(log.endswith(STOPPED), log[-500:])

    def test_stop(self):
        self.control("stop")
        self.expect_end_in_order()

    def test_signals(self):
        for _ in range(3):
            self.terminate()
        self.expect_end_in_order()

    def test_stop_during_a_pause(self):
        self.pause()
        self.terminate()
        self.expect_end_in_order()

    def test_stop_during_a_reload(self):
        self.ask_for_reload()
        self.terminate()
        self.expect_end_in_order()

    def test_pause_during_a_reload(self):
        self.ask_for_reload()
        self.pause()
        self.control("continue")
        self.assertEqual(self.operator.recv(100), ACK)
        self.assertEqual(self.asking.finish(), [])

    def test_pauses(self):
        held = 0
        for _ in range(PAUSES):
            self.pause()
            time.sleep(LULL_SECONDS)
            before = sum(self.asking.replies)
            time.sleep(LULL_SECONDS)
            held += sum(self.asking.replies) == before
            self.assertIn("PAUSED", self.control("query"))
            self.control("continue")
            wait_for(lambda: sum(self.asking.replies) > before, BEGIN_SECONDS, "replies behind the pause")
        self.assertEqual(self.asking.finish(), [])
        self.assertEqual(held, PAUSES)


if __name__ == "__main__":
    main()
