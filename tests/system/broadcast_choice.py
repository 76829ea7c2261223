"""Who is answered by broadcast and who directly, and at which port."""

import dataclasses

from harness import bootp
from harness.case import SystemTest, main
from harness.database import bootptab
from harness.service import Service
from harness.wire import BROADCAST, BROADCAST_MAC, Station

PLAIN, NEVER, ALWAYS, BOTH = (f"02:00:00:00:03:0{number}" for number in range(1, 5))
ADDRESSES = {PLAIN: "10.1.0.21", NEVER: "10.1.0.22", ALWAYS: "10.1.0.23", BOTH: "10.1.0.24"}
KEYS = {PLAIN: {}, NEVER: {"No Broadcast": "1"}, ALWAYS: {"Always Broadcast": "1"},
        BOTH: {"No Broadcast": "1", "Always Broadcast": "1"}}

DIRECTED_STATUS = "*Default: DD;succeeded   *Status: Reply successfully sent"
BROADCAST_STATUS = "*Default: Broadcast;succeeded   *Status: Reply successfully sent"


@dataclasses.dataclass
class Row:
    mac: str
    flag: bool
    broadcast: bool
    status: str


# The status text follows the wish for a broadcast, not the entry's flag.
CHOSEN = [
    Row(PLAIN, False, False, DIRECTED_STATUS),
    Row(PLAIN, True, True, BROADCAST_STATUS),
    Row(NEVER, False, False, DIRECTED_STATUS),
    Row(NEVER, True, False, DIRECTED_STATUS),
    Row(ALWAYS, False, True, DIRECTED_STATUS),
    Row(ALWAYS, True, True, BROADCAST_STATUS),
    Row(BOTH, False, False, DIRECTED_STATUS),
    Row(BOTH, True, False, DIRECTED_STATUS),
]
FORCED = [Row(row.mac, row.flag, True, BROADCAST_STATUS) for row in CHOSEN]


class BroadcastChoice(SystemTest):
    def start(self, **parameters):
        server, machine = self.cable(PLAIN, "10.1.0.1/24")
        self.station = Station(self, machine, "eth0", PLAIN)
        self.service = Service(self, server, bootptab(
            {mac: {"IP Address": ADDRESSES[mac], **keys} for mac, keys in KEYS.items()}), **parameters)

    def check(self, rows):
        for number, row in enumerate(rows, 1):
            with self.subTest(row):
                flags = bootp.BROADCAST_FLAG if row.flag else 0
                answer = self.station.ask(bootp.request(row.mac, flags=flags, xid=number))
                expected = (BROADCAST, BROADCAST_MAC) if row.broadcast else (ADDRESSES[row.mac], row.mac)
                self.assertEqual((answer.address, answer.mac), expected)
                self.assertEqual((answer.source, answer.source_port, answer.port), ("10.1.0.1", 67, 68))
                self.assertEqual((answer.reply.xid, answer.reply.flags, answer.reply.yiaddr),
                                 (number, flags, ADDRESSES[row.mac]))
                self.service.await_log("Packet Received", count=number)
                self.assertEqual(self.service.traces()[-1]["Reply status"], row.status)

    def test_the_client_and_its_entry_choose(self):
        self.start()
        self.check(CHOSEN)

    def test_forced_broadcast(self):
        self.start(ForceBroadcast=1)
        self.check(FORCED)

    def test_the_clients_own_port(self):
        for use, port in ((0, 68), (1, 2000)):
            with self.subTest(UseClientSrcPort=use):
                self.start(UseClientSrcPort=use)
                answer = self.station.ask(bootp.request(PLAIN), source_port=2000)
                self.assertEqual((answer.address, answer.port), (ADDRESSES[PLAIN], port))
                answer = self.station.ask(bootp.request(PLAIN, flags=bootp.BROADCAST_FLAG), source_port=2000)
                self.assertEqual((answer.address, answer.port), (BROADCAST, port))


if __name__ == "__main__":
    main()
