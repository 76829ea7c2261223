"""What every system test stands on: its base class, bounded waits, and the decision whether it can run here."""

import os
import shutil
import sys
import time
import unittest

from harness.network import Namespace, connect

SKIPPED = 77  # ctest shows this exit code as skipped

PROGRAMS = os.environ.get("QUILLON_BIN", "")


def program(name):
    """The path of a program of the build under test."""
    return os.path.join(PROGRAMS, name)


def wait_for(probe, seconds, what):
    """Calls `probe` until it returns something true, and returns that. Too late is a failed test."""
    deadline = time.monotonic() + seconds
    while True:
        answer = probe()
        if answer:
            return answer
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {seconds} s: {what}")
        time.sleep(0.02)


class SystemTest(unittest.TestCase):
    maxDiff = None

    def network(self):
        """A namespace that ends with the test."""
        namespace = Namespace()
        self.addCleanup(namespace.close)
        return namespace

    def cable(self, mac, *addresses):
        """A server with these addresses on its interface lan, and a machine whose eth0 is at the other end."""
        server, machine = self.network(), self.network()
        connect(server, "lan", machine, "eth0", mac)
        for address in addresses:
            server.address("lan", address)
        return server, machine


def obstacle(*tools):
    """Why system tests that need these commands cannot run here; None if they can."""
    if not os.access(program("quillon"), os.X_OK):
        sys.exit(f"QUILLON_BIN names no folder with a program quillon: '{PROGRAMS}'")
    if os.geteuid() != 0:
        return "network namespaces need root"
    for tool in ("ip", *tools):
        if shutil.which(tool) is None:
            return f"the command {tool} is not installed"
    try:
        Namespace().close()
    except OSError as error:
        return f"this machine gives no network namespace: {error}"
    return None


def main(*tools):
    """Runs the tests of the calling file, or says why they are skipped. `tools`: the commands they need."""
    reason = obstacle(*tools)
    if reason is not None:
        print(f"SKIPPED: {reason}")
        sys.exit(SKIPPED)
    unittest.main(verbosity=2)
