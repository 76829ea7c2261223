"""Which of the server's addresses are reached and answer: several on an interface, two interfaces, and while they come and go."""

import re
import socket

from harness import bootp
from harness.case import main, wait_for
from harness.database import bootptab
from harness.network import Switch, connect
from harness.scene import MAC, Scene
from harness.service import Service
from harness.wire import Station

UNMASKED, ELSEWHERE = "02:00:00:00:05:02", "02:00:00:00:05:03"
TRIALS = 8


class Answering(Scene):
    def sources(self, seconds=0.5):
        """Source and server address of all that answer."""
        return sorted((answer.source, answer.reply.siaddr) for answer in self.station.replies_within(seconds))

    def expect_answers(self, *addresses):
        self.assertEqual(self.sources(), sorted((address, address) for address in addresses))


class OneInterface(Answering):
    def test_each_address_hears_what_is_meant_for_it(self):
        one, two = "10.1.0.1", "10.1.0.2"
        self.start(bootptab({MAC: {"IP Address": "10.1.0.9"}}), addresses=(one, two), UseClientSrcPort=1)
        self.station.send(bootp.request(MAC))  # of a client without an address
        self.expect_answers(one, two)
        self.machine.address("eth0", "10.1.0.9/24")
        self.machine.ip("route", "add", "default", "dev", "eth0")
        asking = self.asking(self.machine)
        asking.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
        for address, expected in (("255.255.255.255", (one, two)), ("10.1.0.255", (one, two)), (one, (one,)), (two, (two,))):
            with self.subTest(address):
                asking.sendto(bootp.request(MAC), (address, 67))
                self.expect_answers(*expected)

    def test_only_the_addresses_that_are_named_are_bound(self):
        self.start(addresses=("10.1.0.1", "10.1.0.2", "10.1.0.3"), LocalAddrs="10.1.0.3,nonsense,10.7.7.7,10.1.0.1")
        self.service.await_log("** Bound to: 10.1.0.3, 10.1.0.1.\r\n\r\n")
        self.station.send(bootp.request(MAC))
        self.expect_answers("10.1.0.1", "10.1.0.3")

    def test_the_last_of_several_that_are_ready_goes_first(self):
        addresses = ("10.1.0.1", "10.1.0.2", "10.1.0.3")
        self.start(bootptab({MAC: {"IP Address": "10.1.0.31"}}), addresses=addresses, LocalAddrs=",".join(addresses),
                   MaxDaemonThreads=0)
        asking = self.asking(self.server)
        self.control("pause")
        for address in (addresses[1], addresses[0], addresses[2]):  # the first may have woken the listener alone
            asking.sendto(bootp.request(MAC), (address, 67))
        self.control("continue")
        self.service.await_trace(bootp.section_name(MAC), count=3)
        order = [trace["Packet received on local address"] for trace in self.service.traces()]
        self.assertLess(order.index(addresses[2]), order.index(addresses[0]), order)


class TwoInterfaces(Answering):
    """Both on the client's segment."""

    def setUp(self):
        switch, server, machine = Switch(self), self.network(), self.network()
        for interface, address in (("lan0", "10.1.0.1/24"), ("lan1", "10.2.0.1/24")):
            switch.plug(server, interface)
            server.address(interface, address)
        switch.plug(machine, "eth0", MAC)
        self.service = Service(self, server, bootptab({
            MAC: {"IP Address": "10.2.0.50", "Subnet Mask": "255.255.255.0"}, UNMASKED: {"IP Address": "10.2.0.51"},
            ELSEWHERE: {"IP Address": "10.3.0.52", "Subnet Mask": "255.255.255.0"}}))
        self.station = Station(self, machine, "eth0", MAC)

    def test_the_one_in_the_clients_subnet_answers_alone_else_both(self):
        for mac, expected in ((MAC, ["10.2.0.1"]), (UNMASKED, ["10.1.0.1", "10.2.0.1"]), (ELSEWHERE, ["10.1.0.1", "10.2.0.1"])):
            with self.subTest(mac):
                self.station.send(bootp.request(mac, flags=bootp.BROADCAST_FLAG))
                traces = self.service.await_trace(bootp.section_name(mac), count=2)
                self.assertEqual({trace["Packet received on local address"] for trace in traces}, {"10.1.0.1", "10.2.0.1"})
                self.expect_answers(*expected)
                skipped = [trace for trace in traces if "10.2.0.1 is more suitable" in trace["Reply status"]]
                self.assertEqual(len(skipped), 2 - len(expected))


class Change(Answering):
    def expect_bound(self, *addresses):
        """The latest binding line of the log: the system's addresses, from the last to the first."""
        line = ", ".join((*addresses, "127.0.0.1"))
        wait_for(lambda: re.findall(r"\*\* Bound to: (.*?)\.\r\n", self.service.log())[-1:] == [line], 10,
                 f"bound to {line}; the log:\n{self.service.log()}")

    def answering(self):
        self.station.send(bootp.request(MAC))
        return sorted({source for source, _ in self.sources()})  # a burst leaves replies behind

    def burst(self, quiet):
        """The pool grows to its limit and shrinks again; which of its threads stays is a matter of luck."""
        def grown():
            self.station.send(bootp.request(MAC, flags=bootp.BROADCAST_FLAG))
            return self.service.thread_count() == quiet + 3
        wait_for(grown, 20, "the pool grows")
        wait_for(lambda: self.service.thread_count() == quiet, 20, "the pool shrinks")

    def test_the_sockets_follow_also_after_a_burst(self):
        self.start(PacketTripRate=2, DaemonSensitivity=60000, MaxDaemonThreads=3)
        self.expect_bound("10.1.0.1")
        self.answering()  # all that a start brings with it is there
        quiet = self.service.thread_count()
        for trial in range(TRIALS):
            if trial > 0:
                self.burst(quiet)
            self.server.address("lan", "10.1.0.2/24")
            self.expect_bound("10.1.0.2", "10.1.0.1")
            self.assertEqual(self.answering(), ["10.1.0.1", "10.1.0.2"])
            if trial % 2 == 0:
                self.server.ip("address", "delete", "10.1.0.2/24", "dev", "lan")
                self.expect_bound("10.1.0.1")
            else:  # the link is deleted and made again
                self.server.ip("link", "delete", "lan")
                connect(self.server, "lan", self.machine, "eth0", MAC)
                self.server.address("lan", "10.1.0.1/24")
                self.station = Station(self, self.machine, "eth0", MAC)
            # Not by the log: the line may be the same before and after.
            wait_for(lambda: self.answering() == ["10.1.0.1"], 10, f"the remaining address alone in trial {trial}")


if __name__ == "__main__":
    main()
