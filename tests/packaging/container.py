"""The image of packaging/Containerfile, on a machine of its own: its last stage is carried out line by line, and its entry runs
as process 1 of a container would. What the first stage builds is the package under test."""

import fnmatch
import json
import os
import re
import shlex
import time
import unittest

from machine import Machine, obstacle, package, skip_if

TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
MAC = "02:00:5e:00:00:17"
CLIENT = "\n[02-00-5e-00-00-17]\nTemplate = lan\nIP Address = 10.20.0.17\nBoot File = pc17.img\n"


def last_stage():
    """Its instructions, as word and argument."""
    with open(os.path.join(TREE, "packaging/Containerfile"), encoding="utf-8") as file:
        text = re.sub(r"\\\n\s*", "", re.sub(r"^#.*\n", "", file.read(), flags=re.MULTILINE))
    lines = [line.split(" ", 1) for line in text.splitlines() if line]
    begin = max(number for number, (word, _) in enumerate(lines) if word == "FROM")
    return lines[begin + 1:]


class Container(unittest.TestCase):
    def setUp(self):
        self.machine = Machine(manager=False)
        self.addCleanup(self.machine.close)
        self.machine.run(f"ip netns add client; ip link add eth0 type veth peer name eth0 netns client address {MAC}\n"
                         "ip link set eth0 up; ip address add 10.20.0.1/24 dev eth0; ip -n client link set eth0 up")
        self.settings = {"PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"}  # as engines have it
        for word, argument in last_stage():
            getattr(self, f"do_{word.lower()}")(argument)

    def do_copy(self, argument):
        *sources, place = argument.split()
        if sources[0] == "--from=build":
            name = os.path.basename(package())
            self.assertTrue(fnmatch.fnmatch(name, os.path.basename(sources[1])), name)
            sources, place = [package()], place + name
        path = os.path.join(TREE, sources[0])
        self.machine.put(path, "copied")
        self.machine.run(f"install -m {os.stat(path).st_mode & 0o777:o} copied {place}")

    def do_run(self, argument):
        self.machine.run(argument)

    def do_env(self, argument):
        self.settings.update([argument.split("=", 1)])

    def do_volume(self, argument):
        self.machine.run(f"mkdir -p {argument}")

    def do_workdir(self, argument):
        self.folder = argument

    def do_stopsignal(self, argument):
        self.stop = argument

    def do_entrypoint(self, argument):
        self.entry = json.loads(argument)

    def start(self):
        script = shlex.quote("echo $$ >/root/outer; " + self.command())
        self.machine.run(f"rm -f code; (sh -c {script} >said 2>&1 </dev/null; echo $? >code) >/dev/null 2>&1 &")
        self.await_text("Quillon has started")

    def command(self):
        """The entry as process 1. What is in front of it ends as it ends."""
        setting = " ".join(f"{name}={shlex.quote(value)}" for name, value in self.settings.items())
        return f"cd {self.folder}; exec unshare --pid --fork --mount-proc env -i {setting} {shlex.join(self.entry)}"

    def await_text(self, text):
        deadline = time.monotonic() + 30
        while text not in (said := self.machine.run("cat /root/said")[1]):
            self.assertLess(time.monotonic(), deadline, said)
            time.sleep(0.1)

    def end(self):
        """As an engine does it: the signal goes to process 1."""
        self.machine.run("kill -s " + self.stop.removeprefix("SIG") + " $(cat /proc/$(cat outer)/task/*/children)")
        self.await_text("Quillon has terminated")
        self.assertEqual(self.machine.run("until [ -s code ]; do sleep 0.1; done; cat code")[1], "0\n")

    def test_it_serves_from_its_volume(self):
        self.start()
        self.machine.run(f"cat >>/srv/quillon/bootptab <<'END'\n{CLIENT}END\nQUILLON_HOME=/srv/quillon quillonctl reload")
        asked = "quillonctl ask 02-00-5e-00-00-17 --interface eth0 --broadcast"
        self.assertRegex(self.machine.run(asked, namespace="client")[1], r"yiaddr +10\.20\.0\.17\n")
        self.assertIn("RUNNING", self.machine.run("QUILLON_HOME=/srv/quillon quillonctl query")[1])
        self.end()
        self.start()  # from the files that are there now
        self.assertRegex(self.machine.run(asked, namespace="client")[1], r"file +pc17\.img\n")
        self.end()
        self.machine.run("echo '[stray]' >>/srv/quillon/bootptab")
        code, said = self.machine.run(self.command(), check=False)
        self.assertEqual(code, 1, said)
        self.assertIn("error: the load is refused: [stray]", said)


if __name__ == "__main__":
    skip_if(obstacle(manager=False))
    unittest.main(verbosity=2)
