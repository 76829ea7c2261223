"""Frames as they stand on the cable: a machine that has no address yet sends and receives nothing else."""

import dataclasses
import socket
import struct
import time

from harness import bootp
from harness.case import wait_for

_IPV4 = 0x0800
_UDP = 17
BROADCAST = "255.255.255.255"
BROADCAST_MAC = "ff:ff:ff:ff:ff:ff"


@dataclasses.dataclass
class Datagram:
    """What arrived, with the addresses of all layers."""
    source_mac: str
    mac: str
    source: str
    address: str
    source_port: int
    port: int
    payload: bytes

    @property
    def reply(self):
        return bootp.parse(self.payload)


def _checksum(header):
    total = sum(struct.unpack(f"!{len(header) // 2}H", header))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF


def frame(payload, *, source_mac, mac, source, address, source_port, port):
    udp = struct.pack("!HHHH", source_port, port, 8 + len(payload), 0) + payload
    header = struct.pack("!BBHHHBBH4s4s", 0x45, 0, 20 + len(udp), 0, 0, 64, _UDP, 0, bootp.ip(source), bootp.ip(address))
    header = header[:10] + struct.pack("!H", _checksum(header)) + header[12:]
    return bootp.mac_bytes(mac) + bootp.mac_bytes(source_mac) + struct.pack("!H", _IPV4) + header + udp


def read(data):
    """The datagram in a frame; None if the frame holds no UDP in IPv4, or a fragment."""
    if len(data) < 42 or data[12:14] != struct.pack("!H", _IPV4) or data[23] != _UDP:
        return None
    if struct.unpack("!H", data[20:22])[0] & 0x3FFF:
        return None
    at = 14 + (data[14] & 15) * 4
    source_port, port, length, _ = struct.unpack("!HHHH", data[at:at + 8])
    return Datagram(data[6:12].hex(":"), data[0:6].hex(":"), socket.inet_ntoa(data[26:30]), socket.inet_ntoa(data[30:34]),
                    source_port, port, data[at + 8:at + length])


class Station:
    """A machine on the cable that speaks for itself, without the system's network stack."""

    def __init__(self, case, namespace, interface, mac):
        self.mac = mac
        self._socket = namespace.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(_IPV4))
        case.addCleanup(self._socket.close)
        self._socket.bind((interface, _IPV4))
        self._socket.setblocking(False)

    def send(self, payload, *, mac=BROADCAST_MAC, source="0.0.0.0", address=BROADCAST, source_port=68, port=67):
        self._socket.send(frame(payload, source_mac=self.mac, mac=mac, source=source, address=address,
                                source_port=source_port, port=port))

    def next_reply(self):
        """The next BOOTP reply that has arrived; None if there is none."""
        while True:
            try:
                datagram = read(self._socket.recv(65535))
            except BlockingIOError:
                return None
            if datagram is not None and datagram.reply is not None and datagram.reply.op == 2:
                return datagram

    def await_reply(self, seconds=10):
        return wait_for(self.next_reply, seconds, f"a reply to {self.mac}")

    def replies_within(self, seconds):
        """Everything that arrives in this time, for tests that count."""
        found, deadline = [], time.monotonic() + seconds
        while time.monotonic() < deadline:
            datagram = self.next_reply()
            if datagram is None:
                time.sleep(0.02)
            else:
                found.append(datagram)
        return found

    def ask(self, payload, **addresses):
        self.send(payload, **addresses)
        return self.await_reply()
