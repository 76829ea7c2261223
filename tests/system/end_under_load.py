"""Stops and pauses while thousands of clients ask: the service ends in order, and whoever asked during a pause gets the reply
after it."""

import signal
import time

from harness.case import main, wait_for
from harness.load import edition
from harness.scene import ACK, Scene
from harness.service import END_SECONDS, TERMINATED

CLIENTS = 3000
BEGIN_SECONDS = 30
PAUSES, LULL_SECONDS = 10, 0.3
STOPPED = "--- Quillon service stopped ---\r\n"
ENDINGS = [["stop"], ["terminate"] * 3, ["pause", "terminate"], ["pause", "stop"], ["ask_for_reload", "terminate"]]


class EndUnderLoad(Scene):
    def begin(self):
        self.start_for_load(edition(0, CLIENTS), CacheSize=2 * CLIENTS)
        self.asking_load = self.load(CLIENTS)
        wait_for(lambda: self.asking_load.replies[0] > CLIENTS, BEGIN_SECONDS, "the clients are being answered")

    def act(self, action):
        if action == "terminate":
            self.service.process.send_signal(signal.SIGTERM)
        elif action == "ask_for_reload":
            self.ask_for_reload()
        else:
            self.control(action)

    def test_each_end(self):
        for actions in ENDINGS:
            with self.subTest(actions):
                self.begin()
                for action in actions:
                    self.act(action)
                self.assertEqual(self.service.process.wait(END_SECONDS), 0, self.service.report())
                self.assertEqual(self.asking_load.abandon(), [])
                numbers, log = self.service.event_numbers(), self.service.log()
                self.assertEqual((numbers[-1], numbers.count(TERMINATED), log.count(STOPPED)), (TERMINATED, 1, 1))
                self.assertTrue(log.endswith(STOPPED), log[-500:])

    def test_pauses_one_of_them_during_a_reload(self):
        self.begin()
        operator = self.ask_for_reload()
        self.control("pause")
        self.control("continue")
        self.assertEqual(operator.recv(100), ACK)
        for _ in range(PAUSES):
            self.control("pause")
            time.sleep(LULL_SECONDS)
            before = sum(self.asking_load.replies)
            time.sleep(LULL_SECONDS)
            self.assertEqual(sum(self.asking_load.replies), before)
            self.assertIn("PAUSED", self.control("query"))
            self.control("continue")
            wait_for(lambda: sum(self.asking_load.replies) > before, BEGIN_SECONDS, "replies after the pause")
        self.assertEqual(self.asking_load.finish(), [])


if __name__ == "__main__":
    main()
