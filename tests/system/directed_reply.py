"""Who is answered by broadcast and who directly: then the helper enters the client as a neighbour, for a while."""

import time

from harness import bootp
from harness.case import main, wait_for
from harness.database import bootptab
from harness.scene import MAC, Scene
from harness.service import STARTED
from harness.wire import BROADCAST, BROADCAST_MAC

NEVER, ALWAYS, BEHIND_ADAPTER = (f"02:00:00:00:03:0{number}" for number in range(1, 4))
ADAPTER = "02:00:00:00:02:99"
KEYS = {MAC: {}, NEVER: {"No Broadcast": "1"}, ALWAYS: {"Always Broadcast": "1"},
        BEHIND_ADAPTER: {"Arp Address": bootp.section_name(ADAPTER)}}
ADDRESSES = {mac: f"10.1.0.{17 + number}" for number, mac in enumerate(KEYS)}
ARP_SECONDS = 2

# Parameters, the client, whether it asks for a broadcast, whether it gets one, and which the trace names.
ROWS = [
    ({}, MAC, False, False, "DD"), ({}, MAC, True, True, "Broadcast"), ({}, NEVER, True, False, "DD"),
    ({}, ALWAYS, False, True, "DD"), ({}, BEHIND_ADAPTER, False, False, "DD"),  # the text follows the wish, not the entry
    ({"ForceBroadcast": 1}, MAC, False, True, "Broadcast"), ({"ForceBroadcast": 1}, NEVER, False, True, "Broadcast"),
    ({"UseClientSrcPort": 1}, MAC, False, False, "DD"), ({"UseClientSrcPort": 1}, MAC, True, True, "Broadcast"),
]


class DirectedReply(Scene):
    def start(self, **parameters):
        super().start(bootptab({mac: {"IP Address": ADDRESSES[mac], **keys} for mac, keys in KEYS.items()}), **parameters)

    def neighbour(self, mac):
        return self.server.ip("neighbour", "show", ADDRESSES[mac], "dev", "lan")

    def expect_directed(self, mac, media):
        answer = self.station.ask(bootp.request(mac))
        self.assertEqual((answer.address, answer.mac), (ADDRESSES[mac], media))
        self.assertIn(media, self.neighbour(mac))

    def test_the_client_its_entry_and_the_parameters_choose(self):
        running = None
        for number, (parameters, mac, asks, broadcast, status) in enumerate(ROWS, 1):
            with self.subTest(parameters=parameters, mac=mac, asks=asks):
                if parameters != running:
                    self.start(**parameters)
                    running = parameters
                flags = bootp.BROADCAST_FLAG if asks else 0
                answer = self.station.ask(bootp.request(mac, flags=flags, xid=number), source_port=2000)
                media = ADAPTER if mac == BEHIND_ADAPTER else mac
                self.assertEqual((answer.address, answer.mac), (BROADCAST, BROADCAST_MAC) if broadcast else (ADDRESSES[mac], media))
                self.assertEqual((answer.source, answer.source_port, answer.port),
                                 ("10.1.0.1", 67, 2000 if "UseClientSrcPort" in parameters else 68))
                reply = answer.reply
                self.assertEqual((reply.xid, reply.flags, reply.yiaddr, reply.siaddr), (number, flags, ADDRESSES[mac], "10.1.0.1"))
                self.service.await_log(f"*Default: {status};succeeded   *Status: Reply successfully sent",
                                       count=sum(row[0] == parameters and row[4] == status for row in ROWS[:number]))

    def test_the_entry_goes_after_its_time_and_the_administrators_stays(self):
        self.start(StaticArpTimeout=ARP_SECONDS)
        self.server.ip("neighbour", "add", ADDRESSES[NEVER], "lladdr", NEVER, "dev", "lan", "nud", "permanent")
        self.expect_directed(NEVER, NEVER)
        sent = time.monotonic()
        self.expect_directed(MAC, MAC)
        wait_for(lambda: self.neighbour(MAC) == "", ARP_SECONDS + 8, "removal of the neighbour entry")
        self.assertGreaterEqual(time.monotonic() - sent, ARP_SECONDS)
        self.assertIn("PERMANENT", self.neighbour(NEVER))

    def test_a_stop_and_the_start_after_a_crash_remove_what_was_left_and_no_more(self):
        for crash in (False, True):
            with self.subTest(crash=crash):
                self.start(StaticArpTimeout=3600)
                self.expect_directed(MAC, MAC)
                self.expect_directed(BEHIND_ADAPTER, ADAPTER)
                self.server.ip("neighbour", "replace", ADDRESSES[MAC], "lladdr", ADAPTER, "dev", "lan", "nud", "permanent")
                if crash:
                    self.service.process.kill()
                    self.service.process.wait()
                    self.assertIn(ADAPTER, self.neighbour(BEHIND_ADAPTER))
                    self.service.launch()
                    self.service.await_event(STARTED, count=2)
                else:
                    self.service.stop()
                self.assertEqual(self.neighbour(BEHIND_ADAPTER), "")
                self.assertIn(ADAPTER, self.neighbour(MAC))


if __name__ == "__main__":
    main()
