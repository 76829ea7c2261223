"""What a reload leaves behind: all of the new parameters if it was carried out, nothing at all if it was refused."""

import contextlib
import os

from harness import bootp
from harness.case import main, wait_for
from harness.load import RELAY, SERVER, edition
from harness.scene import ACK, NACK, RELOAD, Scene
from harness.service import RELOADED, registry_text

CLIENTS = 2000
REFUSALS, SANITIZER_REFUSALS = 200, 30
FIRST_REFUSALS = 20  # until the allocator has all that it needs
SAME_MEMORY = 1.05

GOOD = edition(0, CLIENTS)
# Found out ahead of the clients, after the last of them, and for want of a file.
BAD = [GOOD.replace("1,ipaddress", "1", 1), GOOD + "\n[Stray]\nIP Address = 10.9.9.9\n", None]
CLIENT = "02:00:00:00:00:07"


class Reload(Scene):
    def setUp(self):
        self.start_for_load(GOOD, CacheSize=2 * CLIENTS, PacketTripRate=0)
        self.relay = self.asking(self.machine, RELAY, 67, seconds=10)

    def reply(self, length=300):
        self.relay.sendto(bootp.request(CLIENT, giaddr=RELAY, length=length), (SERVER, 67))
        return bootp.parse(self.relay.recv(2000))

    def set(self, **changes):
        self.service.parameters.update(changes)
        self.service.write("registry.reg", registry_text(self.service.parameters))

    def open_files(self):
        """What the service holds open. Its event log it opens for the moment of a report."""
        folder, found = f"/proc/{self.service.process.pid}/fd", []
        for name in os.listdir(folder):
            with contextlib.suppress(FileNotFoundError):
                found.append(os.readlink(os.path.join(folder, name)))
        return sorted(path for path in found if path != self.service.path("events.log"))

    def test_refusals_leave_nothing_behind(self):
        before = after_first = None
        sanitized = self.service.is_sanitized()
        self.assertEqual(self.reply().file, "edition-0/client-7")
        # Another log that is opened ahead of the refusal, and must be closed again.
        self.set(LogFile="another.log")
        for number in range(SANITIZER_REFUSALS if sanitized else REFUSALS):
            self.service.write("bootptab", GOOD)
            self.assertEqual(self.reload(BAD[number % len(BAD)]), NACK)
            if number == FIRST_REFUSALS:
                before, after_first = self.open_files(), self.service.memory()
        self.assertEqual(self.open_files(), before)
        self.assertIn(self.service.path("bootps.log"), before)
        self.assertNotIn(self.service.path("another.log"), before)
        if not sanitized:
            self.assertLess(self.service.memory(), after_first * SAME_MEMORY)
        self.assertEqual(self.reply().file, "edition-0/client-7")
        self.service.await_trace(bootp.section_name(CLIENT), count=2)  # in the old log

    def test_new_parameters_apply(self):
        self.assertEqual(self.reply(length=900).length, 600)
        self.set(Daemonblksize=800, LogFile="second.log", MinResponseSize=700, CacheSize=3)
        self.assertEqual(self.reload(GOOD), ACK)
        self.assertEqual((self.reply(length=900).length, self.reply().length), (800, 700))
        wait_for(lambda: self.service.read("second.log").count("Found in database file") == 2, 10,
                 "traces of a client beyond the cache, in the new log")
        self.assertEqual(self.service.log().count("Packet Received:"), 1)
        self.assertIn("--- Quillon service started ---", self.service.read("second.log"))
        self.assertNotIn(self.service.path("bootps.log"), self.open_files())

        # A refusal takes back none of it and brings nothing new.
        self.set(Daemonblksize=1000, LogFile="third.log", MinResponseSize=0)
        self.assertEqual(self.reload(BAD[0]), NACK)
        self.service.write("bootptab", GOOD)
        self.assertEqual((self.reply(length=900).length, self.reply().length), (800, 700))
        wait_for(lambda: self.service.read("second.log").count("Packet Received:") == 4, 10, "the second log goes on")
        self.assertNotIn("Packet Received:", self.service.read("third.log"))

    def test_answers_go_to_the_port_that_asked_if_it_may(self):
        strangers = [self.asking(self.machine, seconds=30) for _ in range(3)]
        for stranger in strangers:
            stranger.sendto(b"RELOAD REQ", (SERVER, 67))
        # One after the other, each from the address that was asked.
        for stranger in strangers:
            self.assertEqual(stranger.recvfrom(100), (ACK, (SERVER, 67)))
        self.set(ReloadSources="local")
        self.assertEqual(self.reload(GOOD), ACK)
        # From a stranger, and with anything but a NUL after the ten bytes, it is a request with a wrong opcode.
        strangers[0].sendto(RELOAD, (SERVER, 67))
        self.asking(self.server).sendto(b"RELOAD REQUEST", ("127.0.0.1", 67))
        self.service.await_log("Invalid opcode", count=2)
        self.assertEqual(self.service.event_numbers().count(RELOADED), 4)
        self.assertEqual(self.reload(GOOD + "\n"), ACK)


if __name__ == "__main__":
    main()
