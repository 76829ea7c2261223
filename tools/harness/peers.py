"""Other servers as their packages have them, run from a folder where the packages were unpacked and nothing was installed."""

import os
import subprocess
import sys
import tempfile

from harness.case import SKIPPED, wait_for

FOLDER = os.environ.get("QUILLON_PEERS", "")


def program(name):
    """The path of an unpacked program; None if it isn't there."""
    paths = (os.path.join(FOLDER, folder, name) for folder in ("usr/sbin", "usr/bin"))
    return next((path for path in paths if os.access(path, os.X_OK)), None)


def require(*names):
    """Ends the calling script as skipped if one of these isn't there."""
    for name in names:
        if program(name) is None:
            print(f"SKIPPED: {name} isn't unpacked in QUILLON_PEERS ('{FOLDER}')")
            sys.exit(SKIPPED)


def environment(**more):
    libraries = [os.path.join(FOLDER, "usr/lib", name) for name in os.listdir(os.path.join(FOLDER, "usr/lib"))]
    return {**os.environ, "LD_LIBRARY_PATH": ":".join(libraries), **more}


# What each has in its output once it serves, and how it is started.
_SERVERS = {
    "dhcpd": ("Server starting service",
              ["dhcpd", "-4", "-d", "-cf", "{conf}", "-lf", "{folder}/leases", "-pf", "{folder}/pid", "lan"]),
    "dnsmasq": ("DHCP, static leases only",
                ["dnsmasq", "--keep-in-foreground", "--log-facility=-", "--user=root", "--group=root", "--conf-file={conf}",
                 "--dhcp-leasefile={folder}/leases", "--pid-file={folder}/pid", "--interface=lan"]),
    "kea": ("DHCP4_STARTED", ["kea-dhcp4", "-c", "{conf}"]),
}


class Peer:
    """A server of somebody else's, which ends with the test."""

    def __init__(self, case, namespace, kind, configuration):
        ready, command = _SERVERS[kind]
        folder = tempfile.TemporaryDirectory(prefix="quillon-peer-")
        case.addCleanup(folder.cleanup)
        self.configuration, self._output = (os.path.join(folder.name, name) for name in ("conf", "output"))
        for path, text in ((self.configuration, configuration), (os.path.join(folder.name, "leases"), "")):
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)
        words = [word.format(folder=folder.name, conf=self.configuration) for word in command]
        with open(self._output, "wb") as output:
            places = environment(KEA_PIDFILE_DIR=folder.name, KEA_LOCKFILE_DIR=folder.name)
            self._process = namespace.start([program(words[0]), *words[1:]], cwd=folder.name, env=places,
                                            stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT)
        case.addCleanup(self.stop)
        wait_for(lambda: ready in self._said(), 60, f"{kind} says '{ready}'; it said:\n{self._said()}")

    def _said(self):
        with open(self._output, encoding="utf-8", errors="replace") as file:
            said = file.read()
        if self._process.poll() is not None:
            raise AssertionError(f"the peer ended with {self._process.returncode}:\n{said[-2000:]}")
        return said

    def stop(self):
        self._process.kill()
        self._process.wait()
