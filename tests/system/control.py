"""The controls of the service, given with quillonctl."""

import os

from harness import bootp
from harness.case import SystemTest, main, program
from harness.database import bootptab
from harness.service import END_SECONDS, TERMINATED, Service
from harness.wire import Station

MAC = "02:00:00:00:0c:01"


class Control(SystemTest):
    def setUp(self):
        self.server, machine = self.cable(MAC, "10.1.0.1/24")
        self.service = Service(self, self.server, bootptab({MAC: {"IP Address": "10.1.0.31"}}))
        self.station = Station(self, machine, "eth0", MAC)

    def control(self, *words, code=0):
        result = self.server.run(program("quillonctl"), *words, env=self.service.environment(), check=False)
        self.assertEqual(result.returncode, code, result.stdout)
        return result.stdout

    def expect_state(self, state):
        self.assertIn(state, self.control("query"))

    def test_pause_and_continue(self):
        self.expect_state("RUNNING")
        self.control("pause")
        self.expect_state("PAUSED")
        self.station.send(bootp.request(MAC))
        self.assertEqual(self.station.replies_within(1.5), [])
        self.control("interrogate")
        self.expect_state("PAUSED")
        self.control("continue")
        self.expect_state("RUNNING")
        self.assertEqual(self.station.await_reply().address, "10.1.0.31")  # it waited in its socket

    def test_stop(self):
        for paused in (False, True):
            with self.subTest(paused=paused):
                if paused:
                    self.service.launch()
                    self.service.await_event(0x40000001, count=2)
                    self.control("pause")
                self.control("stop")
                self.assertEqual(self.service.process.wait(END_SECONDS), 0)
                self.assertEqual(self.service.event_numbers()[-1], TERMINATED)
                self.assertIn("--- Quillon service stopped ---\r\n", self.service.log())

    def test_reload(self):
        self.control("reload")
        os.remove(self.service.path("bootptab"))
        self.assertIn("does not exist", self.control("reload", code=1))


if __name__ == "__main__":
    main()
