"""Damaged files: what can be read serves, and for the rest there is a clear report and an end in order."""

import os

from harness.case import main, program
from harness.database import bootptab
from harness.scene import MAC, Scene
from harness.service import STARTED, TERMINATED, Home, Service
from harness.wire import Station

ODD = "02-00-00-00-09-02"
GOOD = bootptab({MAC: {"IP Address": "10.1.0.31", "Boot File": "lab.img"}})
CORRUPT, SYSTEM_ERROR, TEXT = 0xC0000006, 0xC0000021, 0xC0000022

# Files that serve the client all the same. Most have a section that is out of all proportion.
SERVING = {
    "ten megabytes of keys in a section": GOOD + f"\n[{ODD}]\n" + "".join(f"key{i}=1\n" for i in range(900_000)),
    "a value of ten megabytes": GOOD + f"\n[{ODD}]\nBoot File=" + "x" * (10 << 20) + "\n",
    "a key of ten kilobytes": GOOD + f"\n[{ODD}]\n" + "k" * 10_240 + "=1\nIP Address=10.1.0.32\n",
    "zero bytes, no end of the last line": GOOD + f"\n[{ODD}]\nIP Address=10.\0001.0.32\nBoot\0File=x\n\0\0\0",
    "byte order mark, CR LF, lines that say nothing":
        "\xef\xbb\xbf" + GOOD.replace("\n", "\n=\n]\n; comment\nwords\n[\n").replace("\n", "\r\n"),
}

# Databases that can't serve, with the event that says so.
REFUSED = {
    "random bytes": (bytes(range(256)) * 400, CORRUPT),
    "an option name of ten kilobytes": (GOOD.replace("Subnet Mask", "k" * 10_240), CORRUPT),
    "a folder": (None, SYSTEM_ERROR),
}


class BadFiles(Scene):
    def test_a_database_that_can_be_read_serves(self):
        server, machine = self.cable(MAC, "10.1.0.1/24")
        self.station = Station(self, machine, "eth0", MAC)
        for name, content in SERVING.items():
            with self.subTest(name):
                service = Service(self, server, content)
                reply = self.ask().reply
                self.assertEqual((reply.yiaddr, reply.file), ("10.1.0.31", "lab.img"))
                service.stop()

    def end_in_order(self, home):
        """Starts the service, which must see for itself that it can't serve."""
        result = self.network().run(program("quillon"), "-debug", cwd=home.folder, env=home.environment(), check=False)
        self.assertEqual((result.returncode, result.stdout), (0, ""))
        self.assertNotIn(STARTED, home.event_numbers())

    def test_one_that_can_not_be_read_is_reported(self):
        for name, (content, event) in REFUSED.items():
            with self.subTest(name):
                home = Home(self, content or "")
                if content is None:
                    os.remove(home.path("bootptab"))
                    os.mkdir(home.path("bootptab"))
                self.end_in_order(home)
                self.assertIn(event, home.event_numbers())
                self.assertEqual(home.event_numbers()[-1], TERMINATED)

    def test_a_registry_that_is_cut_within_a_line(self):
        whole = Home(self, GOOD).read("registry.reg")
        for name, more in (("Services", 0), ("Parameters", 10), ("LogFile", 12), ("CacheSize", 0), ("Daemonblksize", 13)):
            cut = whole[:whole.index(name) + more]
            with self.subTest(cut=cut[-40:]):
                home = Home(self, GOOD)
                home.write("registry.reg", cut)
                self.end_in_order(home)
                place = f"registry.reg:{cut.count(chr(10)) + 1}: "
                self.assertTrue(any(number == TEXT and place in text for number, text in home.events()), home.read("events.log"))


if __name__ == "__main__":
    main()
