"""The signals: SIGHUP reads the files anew, SIGINT and SIGTERM end in order, with and without a service manager."""

import os
import signal
import subprocess

from harness import bootp
from harness.case import SystemTest, main, program
from harness.database import bootptab
from harness.service import END_SECONDS, RELOADED, STARTED, TERMINATED, Service
from harness.wire import Station

MAC = "02:00:00:00:0f:01"
RELOAD_FAILED = 0xC0000004


class DebugService(Service):
    """The program in the foreground; `wrapper` is what starts it."""

    wrapper = []

    def launch(self):
        with open(self.path("output"), "wb") as output:
            self.process = self._namespace.start([*self.wrapper, program("quillon"), "-debug"], cwd=self.folder,
                                                 env=self.environment(), stdin=subprocess.DEVNULL, stdout=output,
                                                 stderr=subprocess.STDOUT)


class ServiceAsFirstProcess(DebugService):
    """As in a container, where a signal without a handler is lost."""

    wrapper = ["unshare", "--pid", "--fork", "--kill-child"]

    def signal(self, number):
        with open(f"/proc/{self.process.pid}/task/{self.process.pid}/children", encoding="ascii") as children:
            os.kill(int(children.read()), number)


class Signals(SystemTest):
    def setUp(self):
        self.server, machine = self.cable(MAC, "10.1.0.1/24")
        self.station = Station(self, machine, "eth0", MAC)

    def start(self, kind):
        service = kind(self, self.server, bootptab({MAC: {"IP Address": "10.1.0.31"}}))
        self.assertEqual(self.address(), "10.1.0.31")
        return service

    def address(self):
        return self.station.ask(bootp.request(MAC)).reply.yiaddr

    def send(self, service, number):
        getattr(service, "signal", service.process.send_signal)(number)

    def test_a_hang_up_reloads(self):
        for kind in (Service, DebugService):
            with self.subTest(kind.__name__):
                service = self.start(kind)
                for count in (1, 2):
                    service.write("bootptab", bootptab({MAC: {"IP Address": f"10.1.0.{31 + count}"}}))
                    self.send(service, signal.SIGHUP)
                    service.await_event(RELOADED, count=count)
                    self.assertEqual(self.address(), f"10.1.0.{31 + count}")
                os.remove(service.path("bootptab"))
                self.send(service, signal.SIGHUP)
                service.await_event(RELOAD_FAILED)
                self.assertEqual(self.address(), "10.1.0.33")
                service.stop()

    def test_an_end_in_order(self):
        for kind in (Service, DebugService, ServiceAsFirstProcess):
            for number in (signal.SIGINT, signal.SIGTERM):
                with self.subTest(kind=kind.__name__, number=number):
                    service = self.start(kind)
                    self.send(service, number)
                    self.assertEqual(service.process.wait(END_SECONDS), 0)
                    numbers = service.event_numbers()
                    self.assertEqual((numbers[0], numbers[-1], len(numbers)), (STARTED, TERMINATED, 2))
                    self.assertIn("--- Quillon service stopped ---\r\n", service.log())


if __name__ == "__main__":
    main()
