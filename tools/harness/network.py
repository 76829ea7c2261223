"""Network namespaces and the links between them.

The namespaces have no names: one lives as long as a descriptor or a process holds it, so that nothing is left behind
however a test ends, and tests at the same time can't meet.
"""

import contextlib
import ctypes
import os
import signal
import socket
import subprocess

_CLONE_NEWNET = 0x40000000
_PR_SET_PDEATHSIG = 1
libc = ctypes.CDLL(None, use_errno=True)

COMMAND_SECONDS = 20


def checked(result):
    if result != 0:
        error = ctypes.get_errno()
        raise OSError(error, os.strerror(error))


def _end_with_parent():
    libc.prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)


def _current():
    return os.open("/proc/thread-self/ns/net", os.O_RDONLY | os.O_CLOEXEC)


class Namespace:
    def __init__(self):
        home = _current()
        try:
            checked(libc.unshare(_CLONE_NEWNET))
            self._descriptor = _current()
            checked(libc.setns(home, _CLONE_NEWNET))
        finally:
            os.close(home)
        self.ip("link", "set", "lo", "up")

    def close(self):
        os.close(self._descriptor)

    @property
    def path(self):
        return f"/proc/{os.getpid()}/fd/{self._descriptor}"

    @contextlib.contextmanager
    def entered(self):
        """The calling thread is in the namespace for the length of the block."""
        home = _current()
        try:
            checked(libc.setns(self._descriptor, _CLONE_NEWNET))
            yield
        finally:
            checked(libc.setns(home, _CLONE_NEWNET))
            os.close(home)

    def start(self, command, **arguments):
        """A process in the namespace, which doesn't outlive this one."""
        with self.entered():
            return subprocess.Popen(command, preexec_fn=_end_with_parent, **arguments)

    def run(self, *command, check=True, **arguments):
        with self.entered():
            return subprocess.run(command, check=check, text=True, timeout=COMMAND_SECONDS,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **arguments)

    def ip(self, *words):
        result = self.run("ip", *words, check=False)
        if result.returncode != 0:
            raise AssertionError(f"ip {' '.join(words)}: {result.stdout}")
        return result.stdout

    def socket(self, family=socket.AF_INET, kind=socket.SOCK_DGRAM, protocol=0):
        """A socket in the namespace, wherever it is used."""
        with self.entered():
            return socket.socket(family, kind, protocol)

    def address(self, interface, address):
        """Gives an interface an address, as in 10.1.0.1/24, with the broadcast address of its subnet."""
        self.ip("address", "add", address, "broadcast", "+", "dev", interface)


def connect(here, interface, there, peer, mac=None):
    """A cable between two namespaces. `mac` is the hardware address at the far end."""
    words = ["link", "add", interface, "type", "veth", "peer", "name", peer, "netns", there.path]
    if mac is not None:
        words += ["address", mac]
    here.ip(*words)
    here.ip("link", "set", interface, "up")
    there.ip("link", "set", peer, "up")


class Switch:
    """A segment with as many ports as are asked for."""

    def __init__(self, case):
        self._namespace = case.network()
        self._namespace.ip("link", "add", "bridge", "type", "bridge", "stp_state", "0", "forward_delay", "0")
        self._namespace.ip("link", "set", "bridge", "up")
        self._ports = 0

    def plug(self, namespace, interface, mac=None):
        port = f"port{self._ports}"
        self._ports += 1
        connect(self._namespace, port, namespace, interface, mac)
        self._namespace.ip("link", "set", port, "master", "bridge")
