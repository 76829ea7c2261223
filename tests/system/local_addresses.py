"""Every way to reach the server: by broadcast, by each of its addresses, and on itself."""

import socket

from harness import bootp
from harness.case import SystemTest, main, program
from harness.database import bootptab
from harness.service import Service
from harness.wire import Station

MAC = "02:00:00:00:06:01"
NEIGHBOUR = "02:00:00:00:06:02"
LOCAL = "02:00:00:00:06:03"
TWO = {("10.1.0.1", "10.1.0.1"), ("10.1.0.2", "10.1.0.2")}


class LocalAddresses(SystemTest):
    def setUp(self):
        self.server, self.machine = self.cable(MAC, "10.1.0.1/24", "10.1.0.2/24")
        self.service = Service(self, self.server, bootptab({
            MAC: {"IP Address": "10.1.0.31"},
            NEIGHBOUR: {"IP Address": "10.1.0.9"},
            LOCAL: {"IP Address": "127.0.0.1"},
        }), UseClientSrcPort=1)
        self.station = Station(self, self.machine, "eth0", MAC)

    def sources(self, seconds=1):
        return sorted((answer.source, answer.reply.siaddr) for answer in self.station.replies_within(seconds))

    def test_the_broadcast_of_a_client_without_address(self):
        self.station.send(bootp.request(MAC))
        self.assertEqual(self.sources(), sorted(TWO))

    def test_a_machine_with_an_address(self):
        self.machine.address("eth0", "10.1.0.9/24")
        self.machine.ip("route", "add", "default", "dev", "eth0")
        asking = self.machine.socket()
        self.addCleanup(asking.close)
        asking.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
        asking.bind(("0.0.0.0", 0))
        for address, expected in (("255.255.255.255", TWO), ("10.1.0.255", TWO),
                                  ("10.1.0.1", {("10.1.0.1", "10.1.0.1")}), ("10.1.0.2", {("10.1.0.2", "10.1.0.2")})):
            with self.subTest(address):
                asking.sendto(bootp.request(NEIGHBOUR), (address, 67))
                self.assertEqual(self.sources(), sorted(expected))

    def test_the_server_asks_itself(self):
        asking = self.server.socket()
        self.addCleanup(asking.close)
        asking.settimeout(10)
        asking.bind(("0.0.0.0", 0))
        asking.sendto(bootp.request(LOCAL), ("127.0.0.1", 67))
        data, source = asking.recvfrom(2000)
        self.assertEqual((source, bootp.parse(data).siaddr), (("127.0.0.1", 67), "127.0.0.1"))


class ChosenAddresses(SystemTest):
    def test_only_the_addresses_that_are_named_are_bound(self):
        server, machine = self.cable(MAC, "10.1.0.1/24", "10.1.0.2/24", "10.1.0.3/24")
        service = Service(self, server, bootptab({MAC: {"IP Address": "10.1.0.31"}}),
                          LocalAddrs="10.1.0.3,nonsense,10.7.7.7,10.1.0.1")
        service.await_log("** Bound to: 10.1.0.3, 10.1.0.1.\r\n\r\n")
        station = Station(self, machine, "eth0", MAC)
        station.send(bootp.request(MAC))
        self.assertEqual({answer.source for answer in station.replies_within(1)}, {"10.1.0.1", "10.1.0.3"})

    def test_the_last_of_several_that_are_ready_goes_first(self):
        addresses = ["10.1.0.1", "10.1.0.2", "10.1.0.3"]
        server, _ = self.cable(MAC, *(f"{address}/24" for address in addresses))
        service = Service(self, server, bootptab({MAC: {"IP Address": "10.1.0.31"}}),
                          LocalAddrs=",".join(addresses), MaxDaemonThreads=0)
        asking = server.socket()
        self.addCleanup(asking.close)
        server.run(program("quillonctl"), "pause", env=service.environment())
        for address in (addresses[1], addresses[0], addresses[2]):  # the first may have woken the listener alone
            asking.sendto(bootp.request(MAC), (address, 67))
        server.run(program("quillonctl"), "continue", env=service.environment())
        service.await_trace(bootp.section_name(MAC), count=3)
        order = [trace["Packet received on local address"] for trace in service.traces()]
        self.assertLess(order.index(addresses[2]), order.index(addresses[0]), order)


if __name__ == "__main__":
    main()
