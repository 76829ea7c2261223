"""Requests by way of a relay agent."""

import itertools
import socket

from harness import bootp
from harness.case import SystemTest, main
from harness.database import bootptab
from harness.network import connect
from harness.service import Service

MAC = "02:00:00:00:04:01"
FAR = "10.9.0.1"  # the relay's address on the client's segment


class Relay(SystemTest):
    def setUp(self):
        server, relay = self.network(), self.network()
        connect(server, "lan", relay, "eth0")
        server.address("lan", "10.1.0.1/24")
        server.address("lan", "10.1.0.3/24")
        server.ip("route", "add", "10.9.0.0/24", "via", "10.1.0.2")
        relay.address("eth0", "10.1.0.2/24")
        relay.ip("address", "add", f"{FAR}/24", "dev", "lo")
        # The far address leads to the relay only by the route; UseClientSrcPort must not matter.
        self.service = Service(self, server, bootptab({MAC: {"IP Address": "10.9.0.17", "Subnet Mask": "255.255.255.0"}}),
                               UseClientSrcPort=1)
        self.port67 = self.listener(relay, 67)
        self.other = self.listener(relay, 5000)

    def listener(self, namespace, port):
        agent = namespace.socket()
        self.addCleanup(agent.close)
        agent.bind(("0.0.0.0", port))
        agent.settimeout(10)
        return agent

    def test_the_reply_goes_to_the_agents_port_67(self):
        rows = list(itertools.product(("10.1.0.2", FAR), ("10.1.0.1", "10.1.0.3"), (0, bootp.BROADCAST_FLAG)))
        for number, (giaddr, server, flags) in enumerate(rows):
            with self.subTest(giaddr=giaddr, server=server, flags=flags):
                xid = number << 24  # the trace takes the first byte for the lowest
                self.other.sendto(bootp.request(MAC, giaddr=giaddr, flags=flags, xid=xid), (server, 67))
                data, source = self.port67.recvfrom(2000)
                reply = bootp.parse(data)
                self.assertEqual(source, (server, 67))
                self.assertEqual((reply.xid, reply.giaddr, reply.siaddr, reply.yiaddr), (xid, giaddr, server, "10.9.0.17"))
        self.other.settimeout(0.3)
        with self.assertRaises(socket.timeout):
            self.other.recvfrom(2000)
        traces = self.service.await_trace(bootp.section_name(MAC), count=len(rows))
        for trace in traces:
            giaddr, _, flags = rows[int(trace["Transaction ID"])]
            self.assertEqual(trace["Gateway address"], giaddr)
            # The text follows the client's wish, though the datagram went to the agent.
            self.assertEqual(trace["Reply status"],
                             f"*Default: {'Broadcast' if flags else 'DD'};succeeded   *Status: Reply successfully sent")


if __name__ == "__main__":
    main()
