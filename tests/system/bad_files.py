"""Damaged files: what can be read serves, and for the rest there is a clear report and an end in order."""

import os

from harness import bootp
from harness.case import SystemTest, main, program
from harness.database import bootptab
from harness.service import STARTED, TERMINATED, Home, Service
from harness.wire import Station

MAC = "02:00:00:00:09:01"
ODD = "02-00-00-00-09-02"
GOOD = bootptab({MAC: {"IP Address": "10.1.0.31", "Boot File": "lab.img"}})

CORRUPT, MISSING, SYSTEM_ERROR, TEXT = 0xC0000006, 0xC0000007, 0xC0000021, 0xC0000022

# Files that serve the client all the same. Each also has a section that is out of all proportion.
SERVING = {
    "ten megabytes of keys in a section": GOOD + f"\n[{ODD}]\n" + "".join(f"key{i}=1\n" for i in range(900_000)),
    "a value of ten megabytes": GOOD + f"\n[{ODD}]\nBoot File=" + "x" * (10 << 20) + "\n",
    "a key of ten kilobytes": GOOD + f"\n[{ODD}]\n" + "k" * 10_240 + "=1\nIP Address=10.1.0.32\n",
    "zero bytes": GOOD + f"\n[{ODD}]\nIP Address=10.\0001.0.32\nBoot\0File=x\n\0\0\0\n",
    "no end of the last line": GOOD.rstrip("\n"),
    "byte order mark, CR LF": "\xef\xbb\xbf" + GOOD.replace("\n", "\r\n"),
    "lines that say nothing": GOOD.replace("\n", "\n=\n]\n; comment\nwords\n[\n"),
}

# Files that can't serve, with the event that says so.
REFUSED = {
    "nothing": ("", CORRUPT),
    "random bytes": (bytes(range(256)) * 400, CORRUPT),
    "a stray section": (GOOD.replace(f"[{bootp.section_name(MAC)}]", f"[Stray]\n\n[{bootp.section_name(MAC)}]"), CORRUPT),
    "an option without its type": (GOOD.replace("1,ipaddress", "1"), CORRUPT),
    "an option name of ten kilobytes": (GOOD.replace("Subnet Mask", "k" * 10_240), CORRUPT),
    "no file": (None, MISSING),
    "a folder": (os.mkdir, SYSTEM_ERROR),
}


class BadDatabase(SystemTest):
    def test_what_can_be_read_serves(self):
        server, machine = self.cable(MAC, "10.1.0.1/24")
        station = Station(self, machine, "eth0", MAC)
        for name, content in SERVING.items():
            with self.subTest(name):
                service = Service(self, server, content)
                reply = station.ask(bootp.request(MAC)).reply
                self.assertEqual((reply.yiaddr, reply.file), ("10.1.0.31", "lab.img"))
                service.stop()

    def test_what_can_not_be_read_is_reported(self):
        for name, (content, event) in REFUSED.items():
            with self.subTest(name):
                home = Home(self, content if isinstance(content, (str, bytes)) else "")
                if content is None or callable(content):
                    os.remove(home.path("bootptab"))
                if callable(content):
                    content(home.path("bootptab"))
                end_in_order(self, home)
                self.assertIn(event, home.event_numbers())
                self.assertEqual(home.event_numbers()[-1], TERMINATED)


def end_in_order(case, home):
    """Starts the service, which must see for itself that it can't serve."""
    result = case.network().run(program("quillon"), "-debug", cwd=home.folder, env=home.environment(), check=False)
    case.assertEqual((result.returncode, result.stdout), (0, ""))
    case.assertNotIn(STARTED, home.event_numbers())


class BadRegistry(SystemTest):
    def test_a_file_that_is_cut_within_a_line(self):
        whole = Home(self, GOOD).read("registry.reg")
        for name in ("Services", "Parameters", "LogFile", "CacheSize", "Daemonblksize"):
            for behind in (0, len(name), len(name) + 5):
                cut = whole[:whole.index(name) + behind]
                with self.subTest(cut=cut[-40:]):
                    home = Home(self, GOOD)
                    home.write("registry.reg", cut)
                    end_in_order(self, home)
                    place = f"registry.reg:{cut.count(chr(10)) + 1}: "
                    self.assertTrue(any(number == TEXT and place in text for number, text in home.events()),
                                    f"nothing names {place}\n{home.read('events.log')}")

    def test_values_that_are_missing_are_named(self):
        for name in ("DatabasePath", "ExpireSeconds", "SecondDaemonThreadTimeout"):
            with self.subTest(name):
                home = Home(self, GOOD)
                lines = home.read("registry.reg").splitlines(keepends=True)
                home.write("registry.reg", "".join(line for line in lines if not line.startswith(f'"{name}"')))
                end_in_order(self, home)
                self.assertIn((TEXT, f"Error accessing the registry key setting for '{name}'"), home.events())


if __name__ == "__main__":
    main()
