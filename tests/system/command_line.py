"""The switches of the program: install, remove, version and the rest."""

import contextlib
import os
import socket
import struct
import threading

from harness.case import SystemTest, main, program
from harness.database import bootptab
from harness.service import END_SECONDS, TERMINATED, Home, Service

USAGE = "\nQuillon command line switches:\n\n-install\n-remove\n-version\n"
INSTALLED = "Quillon service successfully installed\r\n"
REMOVED = "Quillon service successfully removed\r\n"
NOT_INSTALLED = "The service is not installed or you do not have access."

CONTROL_MARK = 0x31746351
QUERY, RUNNING, REFUSED = 0, 4, 1061
REQUEST, REPLY = struct.Struct("=2I"), struct.Struct("=9I")

WRITTEN = {
    "EnableLogging": 0, "ForceBroadcast": 0, "LogLevel": 31, "CacheSize": 1000, "ExpireSeconds": 10, "ExpireHits": 1,
    "DaemonSensitivity": 1000, "PacketTripRate": 5, "Daemonblksize": 600, "MaxDaemonThreads": 10,
    "SecondDaemonThreadTimeout": 1,
}


@contextlib.contextmanager
def stubborn_service(home):
    """Something at the control socket that says it is running and carries out no control."""
    def answer():
        with contextlib.suppress(OSError):  # the listener's end
            while True:
                with listener.accept()[0] as connection:
                    _, control = REQUEST.unpack(connection.recv(REQUEST.size))
                    connection.send(REPLY.pack(CONTROL_MARK, 0 if control == QUERY else REFUSED, 16, RUNNING, 0, 0, 0, 0, 0))

    with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as listener:
        listener.bind(home.path("control"))
        listener.listen()
        thread = threading.Thread(target=answer)
        thread.start()
        try:
            yield
        finally:
            listener.shutdown(socket.SHUT_RDWR)
            thread.join()
            os.remove(home.path("control"))


class CommandLine(SystemTest):
    def quillon(self, home, *words):
        environment = home.environment()
        environment.pop("NOTIFY_SOCKET", None)
        with open(home.path("said"), "wb") as said:
            process = self.network().start([program("quillon"), *words], cwd=home.folder, env=environment, stdout=said)
            code = process.wait(END_SECONDS)
        return code, home.read("said")

    def test_answers_that_change_nothing(self):
        home = Home(self)
        before = home.read("registry.reg")
        for words in (["-unknown"], ["unknown", "-install"], [""], ["/?"]):
            with self.subTest(words):
                self.assertEqual(self.quillon(home, *words), (0, USAGE))
        self.assertEqual(self.quillon(home), (1, ""))
        for word in ("-version", "-VERSION"):
            code, text = self.quillon(home, word, "-install")
            self.assertEqual(code, 0)
            self.assertRegex(text, r"\A\nQuillon version 2\.0\r\nBuild sha: \w+\r\nRelease build\r\n\Z")
        self.assertEqual(home.read("registry.reg"), before)

    def test_install_and_remove(self):
        home = Home(self)
        os.remove(home.path("registry.reg"))
        self.assertEqual(self.quillon(home, "-remove"), (1, NOT_INSTALLED))
        self.assertEqual(self.quillon(home, "-Install", "ignored"), (0, INSTALLED))
        registry = home.read("registry.reg")
        for name, value in WRITTEN.items():
            self.assertIn(f'"{name}"=dword:{value:08x}', registry)
        for name, value in (("DatabasePath", r".\\bootptab"), ("LogFile", "bootps.log"), ("HelperDLL", "arpadd.dll")):
            self.assertIn(f'"{name}"=str(2):"{value}"', registry)
        source = registry[registry.index(r"EventLog\Application\Quillon]"):]
        self.assertIn('"TypesSupported"=dword:00000007', source)
        self.assertIn(f'"EventMessageFile"=str(2):"{program("quillon")}"', source)
        self.assertIn(f"ExecStart={program('quillon')}", home.read("systemd/quillon.service"))

        self.assertEqual(self.quillon(home, "-install"), (1, "Error installing the Quillon service\n"))
        self.assertEqual(self.quillon(home, "-remove"), (0, REMOVED))
        registry = home.read("registry.reg")
        self.assertIn(r"Services\Quillon\Parameters]", registry)
        self.assertNotIn(r"EventLog\Application\Quillon]", registry)
        self.assertFalse(os.path.exists(home.path("systemd/quillon.service")))
        self.assertEqual(self.quillon(home, "-remove"), (1, NOT_INSTALLED))

    def test_what_keeps_a_service_from_being_removed(self):
        home = Home(self, installed=True)
        unit = home.path("systemd/quillon.service")
        before = home.read("registry.reg")
        with stubborn_service(home):
            self.assertEqual(self.quillon(home, "-remove"),
                             (1, "Stopping the Quillon service...\nError attempting to stop the service.\n"))
        os.remove(unit)
        os.mkdir(unit)
        self.assertEqual(self.quillon(home, "-remove"), (1, "Error deleting the Quillon service"))
        self.assertEqual(home.read("registry.reg"), before)
        os.rmdir(unit)
        self.assertEqual(self.quillon(home, "-remove"), (0, REMOVED))

    def test_an_installed_service_runs_until_it_is_removed(self):
        service = Service(self, self.network(), bootptab({"02:00:00:00:0d:01": {"IP Address": "10.1.0.31"}}), installed=True)
        self.assertEqual(service.log(), "")  # an installation leaves the log off
        self.assertEqual(self.quillon(service, "-remove"), (0, "Stopping the Quillon service...\n" + REMOVED))
        self.assertEqual(service.process.wait(END_SECONDS), 0)
        self.assertEqual(service.event_numbers()[-1], TERMINATED)


if __name__ == "__main__":
    main()
