"""Many clients that ask without a pause, by way of a relay: whoever answers them is under load, and every answer is checked."""

import dataclasses
import socket
import struct
import threading
import time

from harness import bootp
from harness.database import bootptab

RELAY, SERVER = "10.1.0.2", "10.1.0.1"
OUTSTANDING = 32  # fewer than a socket has room for: what is lost is lost by the service
PATIENCE_SECONDS = 30  # a load of the database under a sanitizer holds up reception for seconds

# Of a reply's bytes.
_XID, _YIADDR, _FILE = slice(4, 8), slice(16, 20), slice(108, 236)


def _mac(client):
    return f"02:00:00:{client >> 16:02x}:{client >> 8 & 255:02x}:{client & 255:02x}"


def _address(edition, client):
    return f"10.{20 + 20 * edition + (client >> 16)}.{client >> 8 & 255}.{client & 255}"


def _file(edition, client):
    return f"edition-{edition}/client-{client}"


def edition(number, clients):
    """A database in which every address and every file name tells which edition it comes from."""
    assert clients < 20 << 16
    return bootptab({_mac(client): {"IP Address": _address(number, client), "Boot File": _file(number, client)}
                     for client in range(clients)})


@dataclasses.dataclass
class _Pending:
    client: int
    deadline: float
    due: int  # the edition that has to answer; None if either may


class Load:
    """Asks for one client after the other from a thread of its own, in the namespace that holds the address RELAY."""

    def __init__(self, case, namespace, clients, editions=1):
        self._socket = namespace.socket()
        self._socket.bind((RELAY, 67))
        self._requests = [bootp.request(_mac(client), giaddr=RELAY) for client in range(clients)]
        self._answers = [{bootp.ip(_address(number, client)) + _file(number, client).encode().ljust(128, b"\0"): number
                          for number in range(editions)} for client in range(clients)]
        self._pending = {}
        self._sent = 0
        self._stop, self._abandon = threading.Event(), False
        self._thread = threading.Thread(target=self._run, daemon=True)
        case.addCleanup(self.abandon)
        self.due = None  # as long as it is set, that edition alone may answer
        self.failures = []
        self.replies = [0] * editions
        self.latest = None  # the edition of the last reply
        self.longest_gap = 0.0  # between two replies, in seconds
        self._thread.start()

    def finish(self):
        """Takes the answers that are still on their way, and returns everything that was wrong."""
        self._stop.set()
        self._thread.join()
        self._socket.close()
        return self.failures[:10]

    def abandon(self):
        """Ends without waiting for answers: the service has gone."""
        self._abandon = True
        return self.finish()

    def _run(self):
        last = time.monotonic()
        while not self._abandon and (self._pending or not self._stop.is_set()):
            while not self._stop.is_set() and len(self._pending) < OUTSTANDING:
                self._send()
            self._socket.settimeout(0.2)
            try:
                reply = self._socket.recv(2000)
            except socket.timeout:
                self._give_up()
                continue
            now = time.monotonic()
            self.longest_gap, last = max(self.longest_gap, now - last), now
            self._take(reply)

    def _send(self):
        client, xid = self._sent % len(self._requests), struct.pack("!I", self._sent)
        self._sent += 1
        self._pending[xid] = _Pending(client, time.monotonic() + PATIENCE_SECONDS, self.due)
        request = self._requests[client]
        self._socket.sendto(request[:4] + xid + request[8:], (SERVER, 67))

    def _take(self, reply):
        pending = self._pending.pop(reply[_XID], None)
        if pending is None:
            self.failures.append(f"a reply to no request, or a second one: {reply.hex()}")
            return
        answered_by = self._answers[pending.client].get(reply[_YIADDR] + reply[_FILE])
        if answered_by is None:
            self.failures.append(f"client {pending.client} got another's answer, or a mixture: {reply.hex()}")
            return
        # Whoever asked before the last change of mind may be answered by either.
        if pending.due is not None and pending.due == self.due and answered_by != pending.due:
            self.failures.append(f"client {pending.client} got edition {answered_by}, not {pending.due}")
        self.replies[answered_by] += 1
        self.latest = answered_by

    def _give_up(self):
        now = time.monotonic()
        for xid in [xid for xid, pending in self._pending.items() if pending.deadline < now]:
            self.failures.append(f"client {self._pending.pop(xid).client} got no answer")
