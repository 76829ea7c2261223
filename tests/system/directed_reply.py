"""A client without an address is answered directly: the helper enters it as a neighbour, for a while."""

import time

from harness import bootp
from harness.case import SystemTest, main, wait_for
from harness.database import bootptab
from harness.service import STARTED, Service
from harness.wire import Station

MAC = "02:00:00:00:02:01"
BEHIND_ADAPTER = "02:00:00:00:02:02"
ADAPTER = "02:00:00:00:02:99"
ARP_SECONDS = 2

DIRECTED = "*Default: DD;succeeded   *Status: Reply successfully sent"


class DirectedReply(SystemTest):
    def start(self, seconds):
        self.server, machine = self.cable(MAC, "10.1.0.1/24")
        self.service = Service(self, self.server, bootptab({
            MAC: {"IP Address": "10.1.0.17"},
            BEHIND_ADAPTER: {"IP Address": "10.1.0.18", "Arp Address": bootp.section_name(ADAPTER)},
        }), StaticArpTimeout=seconds)
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
        self.start(ARP_SECONDS)
        sent = self.expect_directed(MAC, "10.1.0.17", MAC)
        wait_for(lambda: self.neighbour("10.1.0.17") == "", ARP_SECONDS + 8, "removal of the neighbour entry")
        self.assertGreaterEqual(time.monotonic() - sent, ARP_SECONDS)

    def test_a_media_address_of_its_own(self):
        self.start(ARP_SECONDS)
        self.expect_directed(BEHIND_ADAPTER, "10.1.0.18", ADAPTER)
        trace = self.service.await_trace(bootp.section_name(BEHIND_ADAPTER))[0]
        self.assertEqual(trace["Hardware address"], f"{bootp.section_name(BEHIND_ADAPTER)}"
                         f" MAC used for arp entry: {bootp.section_name(ADAPTER)}")

    def test_an_entry_of_the_administrator_stays(self):
        self.start(ARP_SECONDS)
        self.server.ip("neighbour", "add", "10.1.0.17", "lladdr", MAC, "dev", "lan", "nud", "permanent")
        self.expect_directed(MAC, "10.1.0.17", MAC)
        time.sleep(ARP_SECONDS + 1)
        self.assertIn("PERMANENT", self.neighbour("10.1.0.17"))

    def replaced(self):
        """Two entries of the helper, of which the administrator then replaces one; the other is returned."""
        self.expect_directed(MAC, "10.1.0.17", MAC)
        self.expect_directed(BEHIND_ADAPTER, "10.1.0.18", ADAPTER)
        self.server.ip("neighbour", "replace", "10.1.0.17", "lladdr", ADAPTER, "dev", "lan", "nud", "permanent")
        return "10.1.0.18"

    def test_a_stop_removes_what_waits_and_no_more(self):
        self.start(3600)
        waiting = self.replaced()
        self.service.stop()
        self.assertEqual(self.neighbour(waiting), "")
        self.assertIn(ADAPTER, self.neighbour("10.1.0.17"))

    def test_the_start_after_a_crash_removes_what_was_left_and_no_more(self):
        self.start(3600)
        waiting = self.replaced()
        self.service.process.kill()
        self.service.process.wait()
        self.assertIn(ADAPTER, self.neighbour(waiting))
        self.service.launch()
        self.service.await_event(STARTED, count=2)
        self.assertEqual(self.neighbour(waiting), "")
        self.assertIn(ADAPTER, self.neighbour("10.1.0.17"))


if __name__ == "__main__":
    main()
