"""Follows the operator's guide to the letter: its blocks of commands, in their order, on the machines that they name."""

import os
import re
import unittest

from machine import Machine, obstacle, package, skip_if

CLIENT_MAC = "02:00:5e:00:00:17"  # the guide's client

_BLOCK = re.compile(r"^```(\w+) (\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def squeezed(text):
    return " ".join(text.split())


class OperatingGuide(unittest.TestCase):
    def setUp(self):
        self.machine = Machine()
        self.addCleanup(self.machine.close)
        self.machine.put(package(), os.path.basename(package()))
        self.machine.run(f"ip netns add client; ip link add eth0 type veth peer name eth0 netns client address {CLIENT_MAC}")

    def test_it_leads_to_a_booted_client(self):
        with open(os.environ["QUILLON_GUIDE"], encoding="utf-8") as file:
            blocks = _BLOCK.findall(file.read())
        self.assertGreater(len(blocks), 10)
        output = ""
        for language, place, text in blocks:
            if (language, place) == ("text", "output"):
                for line in text.splitlines():
                    self.assertIn(squeezed(line), squeezed(output))
            else:
                self.assertIn((language, place), [("sh", "server"), ("sh", "client")])
                output = self.machine.run(text, namespace="client" if place == "client" else None)[1]


if __name__ == "__main__":
    skip_if(obstacle())
    unittest.main(verbosity=2)
