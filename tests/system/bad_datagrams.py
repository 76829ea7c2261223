"""Datagrams that no client would send change nothing for those that follow."""

import random
import socket

from harness import bootp
from harness.case import main
from harness.database import bootptab
from harness.scene import MAC, Scene

KEYS = {"IP Address": "10.1.0.31", "Subnet Mask": "255.255.255.0", "Boot File": "lab.img", "Host Name": "terminal",
        "Lease Time": "1:00:00"}
LARGEST = 65507
# The one cuts most of what is sent; with the other, a block that isn't given back is sure to be noticed.
SMALL_BLOCK, LARGE_BLOCK = 600, 70000
BATCH = 40  # what a socket holds for certain until the service has read it
GROWTH = 24 << 20  # bytes of memory that a flood may cost for good


def of_any_length(dice):
    """Random bytes: mostly short, some as large as UDP allows."""
    return dice.randbytes(dice.randrange(dice.choice([12, 700, 2000, LARGEST + 1])))


def like_a_request(dice):
    """A request of a known client with some of its bytes changed, so that it gets far before it fails."""
    data = bytearray(bootp.dhcp(MAC, dice.randrange(0, 10), dice.randbytes(dice.randrange(0, 50))))
    for _ in range(dice.randrange(0, 6)):
        data[dice.choice([2, 3, 10, dice.randrange(28, 34), dice.randrange(44, 300)])] = dice.randrange(256)
    return bytes(data[:dice.choice([300, dice.randrange(1, 301)])])


def cut_lists():
    """A list of options that ends anywhere, a length that points beyond it, and texts without an end."""
    whole = bootp.dhcp(MAC, bootp.REQUEST, bootp.option(bootp.PARAMETER_LIST, bytes(range(1, 41))))
    yield from (whole[:length] for length in range(1, len(whole)))
    yield from (bootp.request(MAC, hlen=hlen) for hlen in (0, 1, 15, 16, 17, 200, 255))
    for tag in (0, 1, 50, 53, 54, 55, 254):
        yield bootp.request(MAC, options=bytes([tag, 255]))
        yield bootp.request(MAC, options=bytes([53, 1, 3, tag, 255]), length=245)
    yield bootp.request(MAC, sname=b"A" * 64, file=b"A" * 128)
    yield bootp.dhcp(MAC, bootp.REQUEST, bootp.option(bootp.PARAMETER_LIST, bytes(range(0, 255))), length=576)


class BadDatagrams(Scene):
    def start_under_attack(self, block):
        self.start(bootptab({MAC: KEYS}), Daemonblksize=block)
        self.machine.address("eth0", "10.1.0.9/24")
        self.machine.ip("route", "add", "default", "dev", "eth0")
        self.attacker, self.xid = self.asking(self.machine), 0x70000000
        self.attacker.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)

    def expect_service(self):
        """A good client has its reply, which also shows that all before it has been read."""
        self.xid += 1
        self.station.send(bootp.dhcp(MAC, bootp.REQUEST, xid=self.xid))
        while (reply := self.station.await_reply(30).reply).xid != self.xid:
            pass
        self.assertEqual((reply.yiaddr, reply.file, reply.cookie), ("10.1.0.31", "lab.img", bootp.COOKIE))
        self.assertEqual(reply.options, {
            bootp.MESSAGE_TYPE: bytes([bootp.ACK]), bootp.SERVER_IDENTIFIER: bootp.ip("10.1.0.1"),
            bootp.SUBNET_MASK: bootp.ip("255.255.255.0"), bootp.HOST_NAME: b"terminal",
            bootp.LEASE_TIME: (3600).to_bytes(4, "big")})

    def send_all(self, datagrams):
        for number, data in enumerate(datagrams):
            self.attacker.sendto(data, (("10.1.0.1", "255.255.255.255")[number % 2], 67))
            if number % BATCH == BATCH - 1:
                self.expect_service()
        self.expect_service()

    def test_they_cost_no_memory_and_no_reply(self):
        for block in (SMALL_BLOCK, LARGE_BLOCK):
            with self.subTest(block=block):
                self.start_under_attack(block)
                self.send_all(cut_lists())
                dice = random.Random(20)
                for count in (400, 1600):  # the first round brings caches and pools to their size
                    before = self.service.memory()
                    self.send_all(dice.choice([of_any_length, like_a_request])(dice) for _ in range(count))
                self.assertLess(self.service.memory() - before, GROWTH)


if __name__ == "__main__":
    main()
