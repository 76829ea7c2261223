"""A service with a relay in front of it and an operator beside it, for the tests of what happens under load."""

import os

from harness.case import SystemTest, program
from harness.load import RELAY, SERVER, Load
from harness.network import connect
from harness.service import Service

RELOAD_SECONDS = 120  # a sanitizer reads a large database on a busy machine

REQUEST, ACK, NACK = b"RELOAD REQ\0", b"RELOAD ACK\0", b"RELOAD NACK\0"


class LoadedService(SystemTest):
    def start(self, database, **parameters):
        self.server, self.machine = self.network(), self.network()
        connect(self.server, "lan", self.machine, "eth0")
        self.server.address("lan", f"{SERVER}/16")
        self.machine.address("eth0", f"{RELAY}/16")
        self.service = Service(self, self.server, database, **{"PacketTripRate": 50, **parameters})
        self.operator = self.server.socket()
        self.addCleanup(self.operator.close)
        self.operator.settimeout(RELOAD_SECONDS)

    def load(self, clients, editions=1):
        return Load(self, self.machine, clients, editions)

    def replace_database(self, content):
        path = self.service.path("bootptab")
        self.service.write("bootptab.new", content)
        os.replace(path + ".new", path)

    def ask_for_reload(self):
        self.operator.sendto(REQUEST, ("127.0.0.1", 67))

    def reload(self, content):
        """The answer to a reload with this database; None stands for a missing one."""
        if content is None:
            os.remove(self.service.path("bootptab"))
        else:
            self.replace_database(content)
        self.ask_for_reload()
        return self.operator.recv(100)

    def control(self, *words, code=0):
        result = self.server.run(program("quillonctl"), *words, env=self.service.environment(), check=False)
        self.assertEqual(result.returncode, code, result.stdout)
        return result.stdout
