"""Datagrams that no client would send change nothing for those that follow."""

import random
import socket

from harness import bootp
from harness.case import SystemTest, main
from harness.database import bootptab
from harness.service import Service
from harness.wire import Station

MAC = "02:00:00:00:08:01"
KEYS = {"IP Address": "10.1.0.31", "Subnet Mask": "255.255.255.0", "Boot File": "lab.img", "Host Name": "terminal",
        "Lease Time": "1:00:00"}
LARGEST = 65507
# The one cuts most of what is sent; with the other, a block that isn't given back is sure to be noticed.
SMALL_BLOCK, LARGE_BLOCK = 600, 70000
BATCH = 40  # what a socket holds for certain until the service has read it
GROWTH = 24 << 20  # bytes of memory that a flood may cost for good


def of_any_length(dice):
    """Random bytes: mostly short, some as large as UDP allows."""
    length = dice.choice([dice.randrange(0, 12), dice.randrange(0, 700), dice.randrange(0, 2000),
                          dice.randrange(0, LARGEST + 1)])
    return dice.randbytes(length)


def like_a_request(dice):
    """A request of a known client with some of its bytes changed, so that it gets far before it fails."""
    data = bytearray(bootp.dhcp(MAC, dice.randrange(0, 10), dice.randbytes(dice.randrange(0, 50))))
    for _ in range(dice.randrange(0, 6)):
        data[dice.choice([2, 3, 10, dice.randrange(28, 34), dice.randrange(44, 300)])] = dice.randrange(256)
    return bytes(data[:dice.choice([300, dice.randrange(1, 301)])])


def cut_lists():
    """A list of options that ends anywhere, a length that points beyond it, and texts without an end."""
    wanted = bootp.option(bootp.PARAMETER_LIST, bytes(range(1, 41)))
    whole = bootp.dhcp(MAC, bootp.REQUEST, wanted)
    yield from (whole[:length] for length in range(1, len(whole)))
    for hlen in (0, 1, 15, 16, 17, 200, 255):
        yield bootp.request(MAC, hlen=hlen)
    for tag in (0, 1, 50, 53, 54, 55, 254):
        yield bootp.request(MAC, options=bytes([tag, 255]))
        yield bootp.request(MAC, options=bytes([53, 1, 3, tag, 255]), length=245)
    yield bootp.request(MAC, file=b"A" * 128)
    yield bootp.request(MAC, sname=b"A" * 64, file=b"A" * 128)
    yield bootp.dhcp(MAC, bootp.REQUEST, bootp.option(bootp.PARAMETER_LIST, bytes(range(0, 255))), length=576)


class BadDatagrams(SystemTest):
    def start(self, block):
        server, machine = self.cable(MAC, "10.1.0.1/24")
        machine.address("eth0", "10.1.0.9/24")
        machine.ip("route", "add", "default", "dev", "eth0")
        self.service = Service(self, server, bootptab({MAC: KEYS}), Daemonblksize=block)
        self.station = Station(self, machine, "eth0", MAC)
        self.attacker = machine.socket()
        self.addCleanup(self.attacker.close)
        self.attacker.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
        self.xid = 0x70000000

    def expect_service(self):
        """A good client has its answer, which also shows that all before it has been read."""
        self.xid += 1
        self.station.send(bootp.dhcp(MAC, bootp.REQUEST, xid=self.xid))
        while True:
            reply = self.station.await_reply(30).reply
            if reply.xid == self.xid:
                break
        self.assertEqual((reply.yiaddr, reply.file, reply.cookie), ("10.1.0.31", "lab.img", bootp.COOKIE))
        self.assertEqual(reply.options, {
            bootp.MESSAGE_TYPE: bytes([bootp.ACK]), bootp.SERVER_IDENTIFIER: bootp.ip("10.1.0.1"),
            bootp.SUBNET_MASK: bootp.ip("255.255.255.0"), bootp.HOST_NAME: b"terminal",
            bootp.LEASE_TIME: (3600).to_bytes(4, "big")})

    def send_all(self, datagrams, targets):
        for number, data in enumerate(datagrams):
            self.attacker.sendto(data, (targets[number % len(targets)], 67))
            if number % BATCH == BATCH - 1:
                self.expect_service()
        self.expect_service()

    def test_lists_that_are_cut_anywhere(self):
        self.start(SMALL_BLOCK)
        self.send_all(cut_lists(), ["10.1.0.1"])

    def test_random_bytes_cost_no_memory(self):
        for block in (SMALL_BLOCK, LARGE_BLOCK):
            with self.subTest(block=block):
                self.start(block)
                dice = random.Random(20)
                for count in (400, 1600):  # the first round brings caches and pools to their size
                    before = self.service.memory()
                    self.send_all((dice.choice([of_any_length, like_a_request])(dice) for _ in range(count)),
                                  ["10.1.0.1", "255.255.255.255"])
                self.assertLess(self.service.memory() - before, GROWTH)


if __name__ == "__main__":
    main()
