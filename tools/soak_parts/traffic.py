"""The load of a soak run: known clients whose every reply is checked, unknown ones, and datagrams that no client would send.

One thread of the caller's sends at a bounded rate and never has more under way than a socket of the service holds, so that
what is lost has been lost by the service. How much the service has read is known by its replies alone: where none is due,
just one known client asks, and its reply shows what was read before it.
"""

import ctypes
import dataclasses
import random
import select
import socket
import struct
import threading
import time

from harness import bootp
from harness.database import bootptab
from harness.wire import frame

SERVER, RELAY, SUBNET = "10.1.0.1", "10.1.0.2", "/16"
PATIENCE_SECONDS = 30.0
IN_FLIGHT_BYTES = 100_000  # half of what a socket has room for as a rule
TICK_SECONDS = 0.02
HOSTILE_XID = 0x80000000  # whoever asks with it is owed nothing
LEASE_SECONDS = 3600

_RELAYED, _DIRECT = 1200, 40  # clients behind a relay; and on the server's own cable, reached by an ARP entry
_STATION_MAC = "02:00:00:fe:00:01"
_ONLY_PORT_68 = ((0x28, 0, 0, 36), (0x15, 0, 1, 68), (0x06, 0, 0, 0xFFFF), (0x06, 0, 0, 0))  # of the frame's UDP header
_SO_ATTACH_FILTER, _SO_RCVBUFFORCE = 26, 33


def _mac(client):
    return f"02:00:00:{'dd' if client >= _RELAYED else '00'}:{client >> 8 & 255:02x}:{client & 255:02x}"


def _address(edition, client):
    if client >= _RELAYED:
        return f"10.1.{200 + edition}.{client - _RELAYED + 1}"
    return f"10.{20 + edition}.{client >> 8}.{client & 255}"


def _file(edition, client):
    return f"edition-{edition}/client-{client}"


def edition(number):
    """A database in which every address and every file name tells which edition it comes from."""
    return bootptab({_mac(client): {"IP Address": _address(number, client), "Boot File": _file(number, client),
                                    "Subnet Mask": "255.255.0.0", "Host Name": f"pc{client}", "Lease Time": "1:00:00"}
                     for client in range(_RELAYED + _DIRECT)})


def _request(client, xid, kind):
    relay = "0.0.0.0" if client >= _RELAYED else RELAY
    if kind is None:
        return bootp.request(_mac(client), xid=xid, giaddr=relay)
    return bootp.dhcp(_mac(client), kind, xid=xid, giaddr=relay)


@dataclasses.dataclass
class _Pending:
    client: int
    kind: int  # of DHCP message; None for BOOTP
    sent: float
    cost: int  # what had been sent up to then
    length: int
    in_window: bool


@dataclasses.dataclass
class Counts:
    known: int = 0
    answered: int = 0
    unknown: int = 0
    hostile: int = 0
    lost_in_windows: int = 0
    slowest: float = 0.0  # seconds until a reply came, outside the windows


class Traffic:
    def __init__(self, namespace, rate, seed, fault):
        """Asks from the namespace that holds the address RELAY on its interface eth0. `fault(text)` is called for each
        promise that the service breaks."""
        self._dice, self._rate, self._fault = random.Random(seed), rate, fault
        self._relay = namespace.socket()
        self._relay.bind((RELAY, 67))
        self._station = namespace.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(0x0800))
        self._station.bind(("eth0", 0x0800))
        self._only_replies()
        for each in (self._relay, self._station):
            each.setsockopt(socket.SOL_SOCKET, _SO_RCVBUFFORCE, 8 << 20)
            each.setblocking(False)
        self._pending, self._late, self._answered = {}, {}, set()
        self._sent_cost = self._read_cost = 0
        self._xid = 0
        self._lock = threading.Lock()  # guards all of this against the thread that opens windows
        self._hold, self._window, self._stop = False, False, threading.Event()
        self.counts = Counts()
        self._thread = threading.Thread(target=self._run, daemon=True)

    def start(self):
        self._thread.start()

    def finish(self):
        """Takes what is still on its way, and ends."""
        self._drain()
        self._stop.set()
        self._thread.join()
        self._relay.close()
        self._station.close()
        self.counts.lost_in_windows += len(self._late)

    def open_window(self):
        """From here on a request may be lost. All that were under way have been answered, or reported."""
        self._drain()
        with self._lock:
            self._window, self._hold = True, False

    def close_window(self, what):
        """Requests are due again, which the first reply after this shows."""
        with self._lock:
            seen = self.counts.answered
        deadline = time.monotonic() + PATIENCE_SECONDS
        while self.counts.answered == seen and time.monotonic() < deadline:
            time.sleep(TICK_SECONDS)
        if self.counts.answered == seen:
            self._fault(f"no reply for {PATIENCE_SECONDS:g} s after {what}")
        self._drain(late=True)
        with self._lock:
            self._window = self._hold = False

    def lull(self, seconds):
        """Nothing is sent for so long."""
        self._drain()
        time.sleep(seconds)
        with self._lock:
            self._hold = False

    def _drain(self, late=False):
        with self._lock:
            self._hold = True
            if late:
                self._late.update(self._pending)
                self._pending.clear()
        while self._pending and self._thread.is_alive():
            time.sleep(TICK_SECONDS)

    def _only_replies(self):
        program = b"".join(struct.pack("HBBI", *line) for line in _ONLY_PORT_68)
        # struct sock_fprog: a count, and a pointer to memory that has to live through the call.
        block = ctypes.create_string_buffer(program)
        self._station.setsockopt(socket.SOL_SOCKET, _SO_ATTACH_FILTER,
                                 struct.pack("HxxxxxxP", len(_ONLY_PORT_68), ctypes.addressof(block)))

    def _run(self):
        owed = 0.0
        last = time.monotonic()
        while not self._stop.is_set():
            select.select([self._relay, self._station], [], [], TICK_SECONDS)
            now = time.monotonic()
            owed = min(owed + (now - last) * self._rate, self._rate)
            last = now
            with self._lock:
                self._receive(now)
                self._give_up(now)
                while owed >= 1 and not self._hold and self._has_room():
                    self._send(now)
                    owed -= 1

    def _has_room(self):
        return not self._pending or self._sent_cost - self._read_cost < IN_FLIGHT_BYTES

    # What is sent.

    def _send(self, now):
        choice = self._dice.random()
        if choice < 0.25 and self._pending:
            self.counts.hostile += 1
            self._post(self._hostile(), "255.255.255.255" if choice < 0.03 else SERVER)
        elif choice < 0.40 and self._pending:
            self.counts.unknown += 1
            mac = self._dice.randbytes(6).hex("-")
            self._post(bootp.request(mac, xid=HOSTILE_XID, giaddr=RELAY), SERVER)
        else:
            self._ask(now, choice)

    def _ask(self, now, choice):
        client = self._dice.randrange(_RELAYED, _RELAYED + _DIRECT) if choice > 0.95 else self._dice.randrange(_RELAYED)
        kind = self._dice.choice([None, bootp.DISCOVER, bootp.REQUEST])
        self._xid = (self._xid + 1) % HOSTILE_XID
        request = _request(client, self._xid, kind)
        self.counts.known += 1
        self._post(request, None if client >= _RELAYED else SERVER)
        self._pending[self._xid] = _Pending(client, kind, now, self._sent_cost, len(request), self._window)

    def _post(self, data, address):
        """To an address by way of the relay's socket; to None as a machine without an address sends it."""
        self._sent_cost += 2 * len(data) + 1024  # about what it costs the receiver's buffer
        if address is None or address == "255.255.255.255":
            source, sending = self._station, [frame(data[:1400], source_mac=_STATION_MAC, mac="ff:ff:ff:ff:ff:ff", source="0.0.0.0",
                                                    address="255.255.255.255", source_port=68, port=67)]
        else:
            source, sending = self._relay, [data, (address, 67)]
        try:
            self._send_patiently(source, sending)
        except OSError as error:
            if not self._window:
                raise AssertionError(f"the load can't send: {error}") from error

    @staticmethod
    def _send_patiently(source, sending):
        """The socket's own buffer may be full for a moment."""
        send = source.sendto if len(sending) == 2 else source.send
        for _ in range(10):
            try:
                send(*sending)
                return
            except BlockingIOError:
                select.select([], [source], [], 0.5)
        send(*sending)

    def _hostile(self):
        dice = self._dice
        if dice.random() < 0.4:
            return dice.randbytes(dice.choice([dice.randrange(0, 12), dice.randrange(0, 700), dice.randrange(0, 20_000)]))
        data = bytearray(bootp.dhcp(_mac(dice.randrange(_RELAYED)), dice.randrange(0, 10), dice.randbytes(dice.randrange(0, 50)),
                                    xid=HOSTILE_XID, giaddr=RELAY))
        for _ in range(dice.randrange(0, 6)):
            data[dice.choice([1, 2, 3, 10, dice.randrange(24, 34), dice.randrange(44, 300)])] = dice.randrange(256)
        return bytes(data[:dice.choice([300, dice.randrange(1, 301)])])

    # What comes back.

    def _receive(self, now):
        for source, offset in ((self._relay, 0), (self._station, 42)):
            while True:
                try:
                    data = source.recv(65535)[offset:]
                except BlockingIOError:
                    break
                except OSError:  # what an interface that went down has to say
                    continue
                self._take(data, now)

    def _take(self, data, now):
        if len(data) < 240 or data[0] != 2:
            self._fault(f"what is no reply: {data[:300].hex()}")
            return
        xid = int.from_bytes(data[4:8], "big")
        if xid & HOSTILE_XID:
            return
        pending = self._pending.pop(xid, None)
        if pending is None:
            pending = self._late.pop(xid, None)
        else:
            if pending.client < _RELAYED:  # broadcasts have a queue of their own, which says nothing about this one
                self._read_cost = max(self._read_cost, pending.cost)
            if not pending.in_window:
                self.counts.slowest = max(self.counts.slowest, now - pending.sent)
        if pending is None:
            # A second address on the same cable answers a broadcast, too.
            if xid not in self._answered:
                self._fault(f"a reply to no request, or a second one: {data.hex()}")
            return
        self.counts.answered += 1
        if pending.in_window and pending.client >= _RELAYED:
            self._answered.add(xid)
        self._check(data, pending)

    def _check(self, data, pending):
        reply, client = bootp.parse(data), pending.client
        try:
            found = (reply.yiaddr, reply.file, reply.options.get(bootp.MESSAGE_TYPE))
        except AssertionError as failure:
            self._fault(f"client {client}: {failure}")
            return
        due = {None: None, bootp.DISCOVER: bytes([bootp.OFFER]), bootp.REQUEST: bytes([bootp.ACK])}[pending.kind]
        if found not in [(_address(number, client), _file(number, client), due) for number in (0, 1)]:
            self._fault(f"client {client} got {found}")
        if len(data) > pending.length:
            self._fault(f"client {client}: {len(data)} bytes came back for {pending.length}")

    def _give_up(self, now):
        for xid in [xid for xid, each in self._pending.items() if now - each.sent > PATIENCE_SECONDS]:
            lost = self._pending.pop(xid)
            if lost.in_window:
                self._late[xid] = lost
            else:
                self._fault(f"client {lost.client} got no answer to request {xid:#x} of {now - lost.sent:.1f} s ago")
