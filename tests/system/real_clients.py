"""The clients of the distribution are given what bootptab says."""

from harness import clients
from harness.case import SystemTest, main
from harness.database import bootptab
from harness.network import Switch
from harness.service import Service

CLIENTS = {  # name: its hardware address and its own keys
    "udhcpc": ("02:00:00:00:01:01", {"IP Address": "10.1.0.17", "Host Name": "terminal"}),
    "dhclient": ("02:00:00:00:01:02", {"IP Address": "10.1.0.18", "Host Name": "office"}),
    "bootpc": ("02:00:00:00:01:03", {"IP Address": "10.1.0.19", "Host Name": "press", "Boot File": "press.bin"}),
}
SEGMENT = {"Subnet Mask": "255.255.255.0", "Gateways": "10.1.0.254", "Lease Time": "1:00:00", "Boot File": "common.img"}


class RealClients(SystemTest):
    def setUp(self):
        switch, server = Switch(self), self.network()
        switch.plug(server, "lan")
        server.address("lan", "10.1.0.1/24")
        self.machines = {}
        for name, (mac, _) in CLIENTS.items():
            self.machines[name] = self.network()
            switch.plug(self.machines[name], "eth0", mac)
        self.service = Service(self, server, bootptab(
            {mac: {"Template": "segment", **keys} for mac, keys in CLIENTS.values()}, {"segment": SEGMENT}))

    def test_each_client_gets_its_own_values(self):
        for name, (_, keys) in CLIENTS.items():
            with self.subTest(name):
                values = getattr(clients, name)(self, self.machines[name], "eth0")
                self.assertEqual(values, {"address": keys["IP Address"], "mask": "255.255.255.0", "gateway": "10.1.0.254",
                                          "host name": keys["Host Name"], "boot file": keys.get("Boot File", "common.img"),
                                          "lease": None if name == "bootpc" else "3600"})


if __name__ == "__main__":
    main("udhcpc", "dhclient", "bootpc")
