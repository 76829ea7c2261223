"""What a reload leaves behind: all of the new parameters if it was carried out, nothing at all if it was refused."""

import contextlib
import os

from harness import bootp
from harness.case import main, wait_for
from harness.load import RELAY, SERVER, edition
from harness.loaded_service import ACK, NACK, LoadedService
from harness.service import registry_text

CLIENTS = 2000
REFUSALS, SANITIZER_REFUSALS = 200, 30
FIRST_REFUSALS = 20  # until the allocator has all that it needs
SAME_MEMORY = 1.05

GOOD = edition(0, CLIENTS)
# Found out ahead of the clients, behind the last of them, and for want of a file.
BAD = [GOOD.replace("1,ipaddress", "1", 1), GOOD + "\n[Stray]\nIP Address = 10.9.9.9\n", None]

MAC = "02:00:00:00:00:07"


class ReloadOutcome(LoadedService):
    def setUp(self):
        self.start(GOOD, CacheSize=2 * CLIENTS, PacketTripRate=0)
        self.relay = self.machine.socket()
        self.addCleanup(self.relay.close)
        self.relay.bind((RELAY, 67))
        self.relay.settimeout(10)

    def ask(self, length=300):
        self.relay.sendto(bootp.request(MAC, giaddr=RELAY, length=length), (SERVER, 67))
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
        refusals = SANITIZER_REFUSALS if self.service.is_sanitized() else REFUSALS
        self.assertEqual(self.ask().file, "edition-0/client-7")
        # Another log that is opened ahead of the refusal, and must be closed again.
        self.set(LogFile="another.log")
        for number in range(refusals):
            self.assertEqual(self.reload(BAD[number % len(BAD)]), NACK)
            if BAD[number % len(BAD)] is None:
                self.service.write("bootptab", GOOD)
            if number == FIRST_REFUSALS:
                before, after_first = self.open_files(), self.service.memory()
        print(f"memory after {FIRST_REFUSALS} refusals {after_first >> 10} KiB, after {refusals} {self.service.memory() >> 10} KiB")
        self.assertEqual(self.open_files(), before)
        self.assertIn(self.service.path("bootps.log"), before)
        self.assertNotIn(self.service.path("another.log"), before)
        if not self.service.is_sanitized():
            self.assertLess(self.service.memory(), after_first * SAME_MEMORY)
        self.assertEqual(self.ask().file, "edition-0/client-7")
        self.service.await_trace(bootp.section_name(MAC), count=2)  # in the old log

    def test_new_parameters_apply(self):
        self.assertEqual(self.ask(length=900).length, 600)
        self.set(Daemonblksize=800, LogFile="second.log", MinResponseSize=700, CacheSize=3)
        self.assertEqual(self.reload(GOOD), ACK)
        self.assertEqual((self.ask(length=900).length, self.ask().length), (800, 700))
        wait_for(lambda: self.service.read("second.log").count("Found in database file") == 2, 10,
                 "traces of a client beyond the cache, in the new log")
        self.assertEqual(self.service.log().count("Packet Received:"), 1)
        self.assertIn("--- Quillon service started ---", self.service.read("second.log"))
        self.assertNotIn(self.service.path("bootps.log"), self.open_files())

        # A refusal takes back none of it and brings nothing new.
        self.set(Daemonblksize=1000, LogFile="third.log", MinResponseSize=0)
        self.assertEqual(self.reload(BAD[0]), NACK)
        self.service.write("bootptab", GOOD)
        self.assertEqual((self.ask(length=900).length, self.ask().length), (800, 700))
        wait_for(lambda: self.service.read("second.log").count("Packet Received:") == 4, 10, "the second log goes on")
        self.assertNotIn("Packet Received:", self.service.read("third.log"))

    def test_answers_go_to_the_port_that_asked(self):
        strangers = [self.machine.socket() for _ in range(3)]
        for stranger in strangers:
            self.addCleanup(stranger.close)
            stranger.settimeout(30)
            stranger.sendto(b"RELOAD REQ", (SERVER, 67))
        # One after the other, each from the address that was asked.
        for stranger in strangers:
            self.assertEqual(stranger.recvfrom(100), (ACK, (SERVER, 67)))
        self.service.write("bootptab", BAD[0])
        strangers[0].sendto(b"RELOAD REQ\0and more", (SERVER, 67))
        self.assertEqual(strangers[0].recvfrom(100), (NACK, (SERVER, 67)))
        # Anything but a NUL behind the ten bytes makes it a request, and one with a wrong opcode.
        strangers[1].sendto(b"RELOAD REQUEST", (SERVER, 67))
        self.service.await_log("Invalid opcode")


if __name__ == "__main__":
    main()
