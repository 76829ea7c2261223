"""A reload, asked for by datagram, while clients ask."""

import os
import threading

from harness import bootp
from harness.case import SystemTest, main
from harness.database import bootptab
from harness.service import RELOADED, Service, registry_text
from harness.wire import Station

MAC = "02:00:00:00:0b:01"
REFUSED = 0xC0000004
REQUEST, ACK, NACK = b"RELOAD REQ\0", b"RELOAD ACK\0", b"RELOAD NACK\0"
ROUNDS = 25


def edition(number):
    """A database whose values all tell which edition they come from."""
    return bootptab({MAC: {"IP Address": f"10.1.0.{100 + number}", "Boot File": f"edition-{number}",
                           "Gateways": f"10.1.0.{number}"}})


class Reload(SystemTest):
    def setUp(self):
        self.server, self.machine = self.cable(MAC, "10.1.0.1/24")
        self.service = Service(self, self.server, edition(0), PacketTripRate=2, StaticArpTimeout=1)
        self.station = Station(self, self.machine, "eth0", MAC)
        self.operator = self.server.socket()
        self.addCleanup(self.operator.close)
        self.operator.settimeout(20)

    def reload(self, request=REQUEST):
        self.operator.sendto(request, ("127.0.0.1", 67))
        answer, source = self.operator.recvfrom(100)
        self.assertEqual(source, ("127.0.0.1", 67))
        return answer

    def edition_of(self, reply):
        number = int(reply.yiaddr.rsplit(".", 1)[1]) - 100
        self.assertEqual((reply.file, reply.options),
                         (f"edition-{number}", {bootp.ROUTER: bootp.ip(f"10.1.0.{number}")}))
        return number

    def current(self):
        return self.edition_of(self.station.ask(bootp.request(MAC)).reply)

    def test_the_forms_of_the_datagram(self):
        for number, request in enumerate((REQUEST, REQUEST[:-1], REQUEST + b"more"), 1):
            self.service.write("bootptab", edition(number))
            self.assertEqual(self.current(), number - 1)
            self.assertEqual(self.reload(request), ACK)
            self.assertEqual(self.current(), number)
        self.service.await_event(RELOADED, count=3)

    def test_a_refusal_leaves_everything_as_it_was(self):
        os.remove(self.service.path("bootptab"))
        self.assertEqual(self.reload(), NACK)
        self.service.await_event(REFUSED)
        self.assertEqual(self.current(), 0)
        # The log still takes the traces.
        self.service.await_trace(bootp.section_name(MAC))
        self.service.write("bootptab", edition(1))
        self.assertEqual(self.reload(), ACK)
        self.assertEqual(self.current(), 1)

    def test_those_who_are_listed_may_reload(self):
        self.service.parameters["ReloadSources"] = "local"
        self.service.write("registry.reg", registry_text(self.service.parameters))
        self.assertEqual(self.reload(), ACK)
        self.machine.address("eth0", "10.1.0.2/24")
        stranger = self.machine.socket()
        self.addCleanup(stranger.close)
        self.service.write("bootptab", edition(1))
        stranger.sendto(REQUEST, ("10.1.0.1", 67))
        self.service.await_log("Invalid opcode")
        self.assertEqual(self.current(), 0)
        self.assertEqual(self.reload(), ACK)
        self.assertEqual(self.current(), 1)

    def test_under_load(self):
        stop, asked = threading.Event(), Station(self, self.machine, "eth0", MAC)

        def flood():
            while not stop.wait(0.001):
                asked.send(bootp.request(MAC))

        load = threading.Thread(target=flood)
        load.start()
        try:
            for number in range(1, ROUNDS + 1):
                self.service.write("bootptab", edition(number))
                self.assertEqual(self.reload(), ACK)
                # Every reply is of one edition, and the new one comes through.
                while self.edition_of(self.station.await_reply().reply) != number:
                    pass
        finally:
            stop.set()
            load.join()
        self.service.await_event(RELOADED, count=ROUNDS)


if __name__ == "__main__":
    main()
