"""A client without an address is answered directly: the helper enters it as a neighbour, for a while."""

import time

from harness import bootp
from harness.case import SystemTest, main, wait_for
from harness.database import bootptab
from harness.service import Service
from harness.wire import Station

MAC = "02:00:00:00:02:01"
BEHIND_ADAPTER = "02:00:00:00:02:02"
ADAPTER = "02:00:00:00:02:99"
ARP_SECONDS = 2

DIRECTED = "*Default: DD;succeeded   *Status: Reply successfully sent"


class DirectedReply(SystemTest):
    def setUp(self):
        self.server, machine = self.cable(MAC, "10.1.0.1/24")
        self.service = Service(self, self.server, bootptab({
            MAC: {"IP Address": "10.1.0.17"},
            BEHIND_ADAPTER: {"IP Address": "10.1.0.18", "Arp Address": bootp.section_name(ADAPTER)},
        }), StaticArpTimeout=ARP_SECONDS)
        self.station = Station(self, machine, "eth0", MAC)

    def neighbour(self, address):
        return self.server.ip("neighbour", "show", address, "dev", "lan")

    def expect_directed(self, mac, address, media):
        sent = time.monotonic()
        answer = self.station.ask(bootp.request(mac))
        self.assertEqual((answer.address, answer.mac, answer.port), (address, media, 68))
        self.assertEqual((answer.source, answer.source_port), ("10.1.0.1", 67))
        self.assertEqual((answer.reply.yiaddr, answer.reply.siaddr), (address, "10.1.0.1"))
        self.assertIn(media, self.neighbour(address))
        self.assertEqual(self.service.await_trace(bootp.section_name(mac))[0]["Reply status"], DIRECTED)
        return sent

    def test_the_entry_is_made_and_goes_after_its_time(self):
        sent = self.expect_directed(MAC, "10.1.0.17", MAC)
        wait_for(lambda: self.neighbour("10.1.0.17") == "", ARP_SECONDS + 8, "removal of the neighbour entry")
        self.assertGreaterEqual(time.monotonic() - sent, ARP_SECONDS)

    def test_a_media_address_of_its_own(self):
        self.expect_directed(BEHIND_ADAPTER, "10.1.0.18", ADAPTER)
        trace = self.service.await_trace(bootp.section_name(BEHIND_ADAPTER))[0]
        self.assertEqual(trace["Hardware address"], f"{bootp.section_name(BEHIND_ADAPTER)}"
                         f" MAC used for arp entry: {bootp.section_name(ADAPTER)}")

    def test_an_entry_of_the_administrator_stays(self):
        self.server.ip("neighbour", "add", "10.1.0.17", "lladdr", MAC, "dev", "lan", "nud", "permanent")
        self.expect_directed(MAC, "10.1.0.17", MAC)
        time.sleep(ARP_SECONDS + 1)
        self.assertIn("PERMANENT", self.neighbour("10.1.0.17"))


if __name__ == "__main__":
    main()
