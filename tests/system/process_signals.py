"""The signals: SIGHUP reads the files anew, SIGINT and SIGTERM end in order, with and without a service manager."""

import os
import signal
import subprocess

from harness.case import main, program, wait_for
from harness.database import bootptab
from harness.scene import MAC, Scene
from harness.service import END_SECONDS, RELOADED, STARTED, TERMINATED, Home, Service

RELOAD_FAILED = 0xC0000004


class DebugService(Service):
    """The program in the foreground; `wrapper` is what starts it."""

    wrapper = []

    def launch(self):
        with open(self.path("output"), "wb") as output, open(self.path("errors"), "wb") as errors:
            self.process = self._namespace.start([*self.wrapper, program("quillon"), "-debug"], cwd=self.folder, stdout=output,
                                                 env=self.environment(), stdin=subprocess.DEVNULL, stderr=errors)


class ServiceAsFirstProcess(DebugService):
    """As in a container, where a signal without a handler is lost."""

    wrapper = ["unshare", "--pid", "--fork", "--kill-child"]

    def environment(self, **more):
        return super().environment(ASAN_OPTIONS="detect_leaks=0", **more)  # it doesn't work as process 1

    def signal(self, number):
        with open(f"/proc/{self.process.pid}/task/{self.process.pid}/children", encoding="ascii") as children:
            os.kill(int(children.read()), number)


class Signals(Scene):
    def send(self, number):
        getattr(self.service, "signal", self.service.process.send_signal)(number)

    def test_quillonctl_knows_the_program_in_the_foreground(self):
        self.start(kind=DebugService)
        self.assertRegex(self.control("query"), r"state +RUNNING\naccepts +stop\n")
        self.assertIn("1052", self.control("pause", code=1))
        second = self.server.run(program("quillon"), "-debug", cwd=self.service.folder, env=self.service.environment(), check=False)
        self.assertIn("No control socket at ", second.stdout)
        self.assertIn("RUNNING", self.control("query"), "the socket of the first is gone")
        self.assertIn("STOP_PENDING", self.control("stop"))
        self.assertEqual(self.service.process.wait(END_SECONDS), 0)
        self.assertIn("STOPPED", self.control("query", code=3))
        self.assertFalse(os.path.exists(self.service.path("control")))

    def test_a_stop_interrupts_a_load(self):
        home = Home(self, bootptab({f"02:00:{number:08x}": {"IP Address": "10.1.0.32"} for number in range(200_000)}),
                    CacheSize=0)
        process = self.network().start([program("quillon"), "-debug"], cwd=home.folder, env=home.environment(),
                                       stderr=subprocess.DEVNULL)
        wait_for(lambda: os.path.exists(home.path("control")), END_SECONDS, "the control socket")
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(END_SECONDS), 0)
        self.assertEqual(home.event_numbers(), [TERMINATED])

    def test_a_hang_up_reloads_and_the_others_end_in_order(self):
        for kind, end in ((Service, signal.SIGINT), (DebugService, signal.SIGINT), (DebugService, signal.SIGTERM),
                          (ServiceAsFirstProcess, signal.SIGINT), (ServiceAsFirstProcess, signal.SIGTERM)):
            with self.subTest(kind=kind.__name__, end=end):
                self.start(kind=kind)
                for content, event in ((bootptab({MAC: {"IP Address": "10.1.0.32"}}), RELOADED), (None, RELOAD_FAILED)):
                    self.put_database(content)
                    self.send(signal.SIGHUP)
                    self.service.await_event(event)
                    self.assertEqual(self.ask().reply.yiaddr, "10.1.0.32")
                self.send(end)
                self.assertEqual(self.service.process.wait(END_SECONDS), 0)
                numbers = self.service.event_numbers()
                self.assertEqual((numbers[0], numbers[-1], numbers.count(TERMINATED)), (STARTED, TERMINATED, 1))
                self.assertIn("--- Quillon service stopped ---\r\n", self.service.log())
                if kind is not Service:
                    self.assertEqual(self.service.read("errors"), self.service.read("events.log"))


if __name__ == "__main__":
    main()
