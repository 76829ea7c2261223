"""BOOTP and DHCP messages, written and read independently of the code under test."""

import dataclasses
import socket
import struct

COOKIE = bytes([99, 130, 83, 99])
BROADCAST_FLAG = 0x8000

DISCOVER, OFFER, REQUEST, ACK, NAK = 1, 2, 3, 5, 6

SUBNET_MASK, ROUTER, HOST_NAME = 1, 3, 12
REQUESTED_ADDRESS, LEASE_TIME, MESSAGE_TYPE, SERVER_IDENTIFIER, PARAMETER_LIST = 50, 51, 53, 54, 55

_FIXED = struct.Struct("!BBBBIHH4s4s4s4s16s64s128s4s")


def option(tag, value):
    return bytes([tag, len(value)]) + value


def ip(text):
    return socket.inet_aton(text)


def mac_bytes(text):
    return bytes.fromhex(text.replace(":", "").replace("-", ""))


def section_name(mac):
    """A hardware address as bootptab and the trace write it."""
    return mac_bytes(mac).hex("-")


def request(mac, *, op=1, htype=1, hlen=6, xid=0x12345678, secs=0, flags=0, ciaddr="0.0.0.0", giaddr="0.0.0.0",
            sname=b"", file=b"", options=b"", length=300):
    fixed = _FIXED.pack(op, htype, hlen, 0, xid, secs, flags, ip(ciaddr), bytes(4), bytes(4), ip(giaddr),
                        mac_bytes(mac), sname, file, COOKIE)
    return (fixed + options).ljust(length, b"\0")[:length]


def dhcp(mac, message_type, *more, **fields):
    """A DHCP request; `more` are options between the message type and the end mark."""
    options = option(MESSAGE_TYPE, bytes([message_type])) + b"".join(more) + b"\xff"
    return request(mac, options=options, **fields)


@dataclasses.dataclass
class Reply:
    op: int
    xid: int
    flags: int
    yiaddr: str
    siaddr: str
    giaddr: str
    chaddr: bytes
    sname: str
    file: str
    cookie: bytes
    area: bytes
    length: int

    @property
    def options(self):
        """The options by tag. A list that is cut is a failed test."""
        return _options(self.area)


def _options(area):
    found, at = {}, 0
    while at < len(area) and area[at] != 255:
        if area[at] == 0:
            at += 1
            continue
        if at + 1 >= len(area) or at + 2 + area[at + 1] > len(area):
            raise AssertionError(f"an option list that is cut: {area.hex()}")
        found[area[at]] = area[at + 2:at + 2 + area[at + 1]]
        at += 2 + area[at + 1]
    return found


def _text(field):
    return field.split(b"\0", 1)[0].decode("latin-1")


def parse(datagram):
    """A reply, field by field; None if it is too short to be one."""
    if len(datagram) < _FIXED.size:
        return None
    (op, _, _, _, xid, _, flags, _, yiaddr, siaddr, giaddr, chaddr, sname, file,
     cookie) = _FIXED.unpack_from(datagram)
    return Reply(op, xid, flags, socket.inet_ntoa(yiaddr), socket.inet_ntoa(siaddr), socket.inet_ntoa(giaddr), chaddr,
                 _text(sname), _text(file), cookie, datagram[_FIXED.size:], len(datagram))
