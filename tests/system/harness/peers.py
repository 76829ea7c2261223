"""Other servers as their packages have them, run from a folder where the packages were unpacked and nothing was installed."""

import os
import signal
import subprocess
import tempfile

from harness.case import wait_for

FOLDER = os.environ.get("QUILLON_PEERS", "")


def program(name):
    """The path of an unpacked program; None if it isn't there."""
    for folder in ("usr/sbin", "usr/bin"):
        path = os.path.join(FOLDER, folder, name)
        if os.access(path, os.X_OK):
            return path
    return None


def environment(**more):
    libraries = [os.path.join(FOLDER, "usr/lib", name) for name in os.listdir(os.path.join(FOLDER, "usr/lib"))]
    return {**os.environ, "LD_LIBRARY_PATH": ":".join(libraries), **more}


class Peer:
    """A server of somebody else's, which ends with the test. `ready` is in its output once it serves."""

    def __init__(self, case, namespace, configuration, ready, command):
        folder = tempfile.TemporaryDirectory(prefix="quillon-peer-")
        case.addCleanup(folder.cleanup)
        self.configuration = os.path.join(folder.name, "conf")
        with open(self.configuration, "w", encoding="utf-8") as file:
            file.write(configuration)
        open(os.path.join(folder.name, "leases"), "wb").close()
        words = [word.format(folder=folder.name, conf=self.configuration) for word in command]
        self._output = os.path.join(folder.name, "output")
        with open(self._output, "wb") as output:
            places = environment(KEA_PIDFILE_DIR=folder.name, KEA_LOCKFILE_DIR=folder.name)
            self._process = namespace.start([program(words[0]), *words[1:]], cwd=folder.name, env=places,
                                            stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT)
        case.addCleanup(self.stop)
        wait_for(lambda: ready in self._said(), 60, f"{words[0]} says '{ready}'; it said:\n{self._said()}")

    def _said(self):
        with open(self._output, encoding="utf-8", errors="replace") as file:
            said = file.read()
        if self._process.poll() is not None:
            raise AssertionError(f"the peer ended with {self._process.returncode}:\n{said[-2000:]}")
        return said

    def stop(self):
        if self._process.poll() is None:
            self._process.send_signal(signal.SIGKILL)
        self._process.wait()


def dhcpd(case, namespace, configuration):
    return Peer(case, namespace, configuration, "Server starting service",
                ["dhcpd", "-4", "-d", "-cf", "{conf}", "-lf", "{folder}/leases", "-pf", "{folder}/pid", "lan"])


def dnsmasq(case, namespace, configuration):
    return Peer(case, namespace, configuration, "DHCP, static leases only",
                ["dnsmasq", "--keep-in-foreground", "--log-facility=-", "--user=root", "--group=root", "--conf-file={conf}",
                 "--dhcp-leasefile={folder}/leases", "--pid-file={folder}/pid", "--interface=lan"])


def kea(case, namespace, configuration):
    return Peer(case, namespace, configuration, "DHCP4_STARTED", ["kea-dhcp4", "-c", "{conf}"])
