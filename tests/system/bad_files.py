"""Damaged files: what can be read serves, and for the rest there is a clear report and an end in order."""

from harness.case import main, program
from harness.database import bootptab
from harness.scene import MAC, Scene
from harness.service import STARTED, Home, Service
from harness.wire import Station

ODD = "02-00-00-00-09-02"
GOOD = bootptab({MAC: {"IP Address": "10.1.0.31", "Boot File": "lab.img"}})
TEXT = 0xC0000022

# Files that serve the client all the same. Most have a section that is out of all proportion.
SERVING = {
    "ten megabytes of keys in a section": GOOD + f"\n[{ODD}]\n" + "".join(f"key{i}=1\n" for i in range(900_000)),
    "a value of ten megabytes": GOOD + f"\n[{ODD}]\nBoot File=" + "x" * (10 << 20) + "\n",
    "a key of ten kilobytes": GOOD + f"\n[{ODD}]\n" + "k" * 10_240 + "=1\nIP Address=10.1.0.32\n",
    "zero bytes, no end of the last line": GOOD + f"\n[{ODD}]\nIP Address=10.\0001.0.32\nBoot\0File=x\n\0\0\0",
    "byte order mark, CR LF, lines that say nothing":
        "\xef\xbb\xbf" + GOOD.replace("\n", "\n=\n]\n; comment\nwords\n[\n").replace("\n", "\r\n"),
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

    def test_a_registry_that_is_cut_ends_in_order(self):
        home = Home(self, GOOD)
        cut = home.read("registry.reg").partition("Size")[0]
        home.write("registry.reg", cut)
        result = self.network().run(program("quillon"), "-debug", cwd=home.folder, env=home.environment(), check=False)
        self.assertEqual((result.returncode, result.stdout), (0, home.read("events.log")))
        self.assertNotIn(STARTED, home.event_numbers())
        place = f"registry.reg:{cut.count(chr(10)) + 1}: "
        self.assertTrue(any(number == TEXT and place in text for number, text in home.events()), home.read("events.log"))


if __name__ == "__main__":
    main()
