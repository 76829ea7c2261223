"""A service at one end of a cable; at the other a client, a relay agent or an attacker."""

import os

from harness import bootp
from harness.case import SystemTest, program
from harness.database import bootptab
from harness.load import RELAY, SERVER, Load
from harness.service import Service
from harness.wire import Station

MAC = "02:00:00:00:01:01"
ADDRESS = "10.1.0.31"
ONE_CLIENT = bootptab({MAC: {"IP Address": ADDRESS}})
RELOAD, ACK, NACK = b"RELOAD REQ\0", b"RELOAD ACK\0", b"RELOAD NACK\0"
RELOAD_SECONDS = 120  # a sanitizer reads a large database on a busy machine


class Scene(SystemTest):
    def start(self, database=ONE_CLIENT, *, kind=Service, addresses=(SERVER,), **parameters):
        self.server, self.machine = self.cable(MAC, *(f"{address}/24" for address in addresses))
        self.service = kind(self, self.server, database, **parameters)
        self.station = Station(self, self.machine, "eth0", MAC)

    def start_for_load(self, database, **parameters):
        """With a relay agent's address at the far end, for self.load()."""
        self.start(database, **{"PacketTripRate": 50, **parameters})
        self.machine.address("eth0", f"{RELAY}/24")

    def load(self, clients, editions=1):
        return Load(self, self.machine, clients, editions)

    def asking(self, namespace, address="0.0.0.0", port=0, seconds=RELOAD_SECONDS):
        """A socket that goes with the test."""
        made = namespace.socket()
        self.addCleanup(made.close)
        made.bind((address, port))
        made.settimeout(seconds)
        return made

    def ask(self, **fields):
        return self.station.ask(bootp.request(MAC, **fields))

    def put_database(self, content):
        """In one step; None stands for a missing one."""
        if content is None:
            return os.remove(self.service.path("bootptab"))
        self.service.write("bootptab.new", content)
        return os.replace(self.service.path("bootptab.new"), self.service.path("bootptab"))

    def ask_for_reload(self):
        operator = self.asking(self.server)
        operator.sendto(RELOAD, ("127.0.0.1", 67))
        return operator

    def reload_answer(self):
        with self.ask_for_reload() as operator:
            return operator.recv(100)

    def reload(self, content):
        """The answer to a reload with this database."""
        self.put_database(content)
        return self.reload_answer()

    def control(self, *words, code=0):
        result = self.server.run(program("quillonctl"), *words, env=self.service.environment(), check=False)
        self.assertEqual(result.returncode, code, f"{words}: {result.stdout}\n{self.service.report()}")
        return result.stdout
