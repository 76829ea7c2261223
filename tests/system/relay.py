"""Requests by way of a relay agent."""

import itertools
import socket

from harness import bootp
from harness.case import main
from harness.database import bootptab
from harness.scene import MAC, Scene

FAR = "10.9.0.1"  # the relay's address on the client's segment


class Relay(Scene):
    def test_the_reply_goes_to_the_agents_port_67(self):
        # The far address leads to the relay only by the route; UseClientSrcPort must not matter.
        self.start(bootptab({MAC: {"IP Address": "10.9.0.17", "Subnet Mask": "255.255.255.0"}}), addresses=("10.1.0.1", "10.1.0.3"),
                   UseClientSrcPort=1)
        self.server.ip("route", "add", "10.9.0.0/24", "via", "10.1.0.2")
        self.machine.address("eth0", "10.1.0.2/24")
        self.machine.ip("address", "add", f"{FAR}/24", "dev", "lo")
        port67, other = self.asking(self.machine, port=67, seconds=10), self.asking(self.machine, port=5000, seconds=0.3)
        rows = list(itertools.product(("10.1.0.2", FAR), ("10.1.0.1", "10.1.0.3"), (0, bootp.BROADCAST_FLAG)))
        for number, (giaddr, server, flags) in enumerate(rows):
            with self.subTest(giaddr=giaddr, server=server, flags=flags):
                xid = number << 24  # the trace takes the first byte for the lowest
                other.sendto(bootp.request(MAC, giaddr=giaddr, flags=flags, xid=xid), (server, 67))
                data, source = port67.recvfrom(2000)
                reply = bootp.parse(data)
                self.assertEqual(source, (server, 67))
                self.assertEqual((reply.xid, reply.giaddr, reply.siaddr, reply.yiaddr), (xid, giaddr, server, "10.9.0.17"))
        with self.assertRaises(socket.timeout):
            other.recvfrom(2000)
        for trace in self.service.await_trace(bootp.section_name(MAC), count=len(rows)):
            giaddr, _, flags = rows[int(trace["Transaction ID"])]
            self.assertEqual(trace["Gateway address"], giaddr)
            # The text follows the client's wish, though the datagram went to the agent.
            self.assertEqual(trace["Reply status"],
                             f"*Default: {'Broadcast' if flags else 'DD'};succeeded   *Status: Reply successfully sent")


if __name__ == "__main__":
    main()
