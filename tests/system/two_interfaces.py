"""One segment that two interfaces of the server are on: the one in the client's subnet answers."""

from harness import bootp
from harness.case import SystemTest, main
from harness.database import bootptab
from harness.network import Switch
from harness.service import Service
from harness.wire import Station

MASKED = "02:00:00:00:05:01"
UNMASKED = "02:00:00:00:05:02"
ELSEWHERE = "02:00:00:00:05:03"


class TwoInterfaces(SystemTest):
    def setUp(self):
        switch, server, machine = Switch(self), self.network(), self.network()
        for interface, address in (("lan0", "10.1.0.1/24"), ("lan1", "10.2.0.1/24")):
            switch.plug(server, interface)
            server.address(interface, address)
        switch.plug(machine, "eth0", MASKED)
        self.service = Service(self, server, bootptab({
            MASKED: {"IP Address": "10.2.0.50", "Subnet Mask": "255.255.255.0"},
            UNMASKED: {"IP Address": "10.2.0.51"},
            ELSEWHERE: {"IP Address": "10.3.0.52", "Subnet Mask": "255.255.255.0"},
        }))
        self.station = Station(self, machine, "eth0", MASKED)

    def answers(self, mac):
        """Who answers a broadcast request, by source and server address, and the trace of each reception."""
        self.station.send(bootp.request(mac, flags=bootp.BROADCAST_FLAG))
        traces = self.service.await_trace(bootp.section_name(mac), count=2)
        self.assertEqual({trace["Packet received on local address"] for trace in traces}, {"10.1.0.1", "10.2.0.1"})
        return ({(answer.source, answer.reply.siaddr) for answer in self.station.replies_within(0.5)},
                {trace["Packet received on local address"]: trace["Reply status"] for trace in traces})

    def test_the_better_interface_answers_alone(self):
        answers, statuses = self.answers(MASKED)
        self.assertEqual(answers, {("10.2.0.1", "10.2.0.1")})
        self.assertEqual(statuses["10.1.0.1"],
                         "Local interface 10.2.0.1 is more suitable for this query. Skipping reply.")
        self.assertEqual(statuses["10.2.0.1"], "*Default: Broadcast;succeeded   *Status: Reply successfully sent")

    def test_both_answer_where_neither_is_better(self):
        for mac in (UNMASKED, ELSEWHERE):
            with self.subTest(mac):
                self.assertEqual(self.answers(mac)[0], {("10.1.0.1", "10.1.0.1"), ("10.2.0.1", "10.2.0.1")})


if __name__ == "__main__":
    main()
