"""The clients of the distribution, run once each, and what they say they were given."""

import contextlib
import os
import re
import shlex
import stat
import subprocess
import tempfile

from harness.case import wait_for

CLIENT_SECONDS = 30


class ClientRun:
    """A folder for a client's files, and the script that dumps the client's variables into it."""

    def __init__(self, case, namespace):
        self._namespace = namespace
        self._folder = tempfile.TemporaryDirectory(prefix="quillon-client-")
        case.addCleanup(self._folder.cleanup)
        self.script = self.write("script", f'#!/bin/sh\nenv > {shlex.quote(self.path("env"))}."${{reason:-$1}}"\n')
        os.chmod(self.script, stat.S_IRWXU)

    def path(self, name):
        return os.path.join(self._folder.name, name)

    def write(self, name, text):
        with open(self.path(name), "w", encoding="ascii") as file:
            file.write(text)
        return self.path(name)

    def variables(self, state):
        """What the client handed to its script in this state; None as long as it hasn't."""
        with contextlib.suppress(FileNotFoundError), open(self.path(f"env.{state}"), encoding="latin-1") as file:
            return dict(line.rstrip("\n").split("=", 1) for line in file if "=" in line)
        return None

    def until_bound(self, command, state):
        """Runs a client that stays, until it has called its script in this state."""
        with open(self.path("output"), "wb") as output:
            process = self._namespace.start(command, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT)
        try:
            return wait_for(lambda: self.variables(state), CLIENT_SECONDS, f"{command[0]} in state {state}")
        except AssertionError as failure:
            with open(self.path("output"), encoding="latin-1") as file:
                raise AssertionError(f"{failure}\n{file.read()}") from None
        finally:
            process.kill()
            process.wait()


def _given(values, address, mask, gateway, host_name, boot_file, lease):
    """What the client was given, from the variables of these names."""
    return {"address": values.get(address), "mask": values.get(mask), "gateway": values.get(gateway, "").strip(),
            "host name": values.get(host_name), "boot file": values.get(boot_file), "lease": values.get(lease)}


def udhcpc(case, namespace, interface):
    client = ClientRun(case, namespace)
    values = client.until_bound(["udhcpc", "-i", interface, "-f", "-n", "-t", "5", "-T", "2", "-s", client.script], "bound")
    return _given(values, "ip", "subnet", "router", "hostname", "boot_file", "lease")


def dhclient(case, namespace, interface):
    client = ClientRun(case, namespace)
    settings = client.write("conf", "timeout 20;\nrequest subnet-mask, routers, host-name, dhcp-lease-time;\n")
    values = client.until_bound(["dhclient", "-4", "-d", "-1", "-cf", settings, "-lf", client.path("leases"),
                                 "-pf", client.path("pid"), "-sf", client.script, interface], "BOUND")
    return _given(values, "new_ip_address", "new_subnet_mask", "new_routers", "new_host_name", "new_filename",
                  "new_dhcp_lease_time")


def bootpc(_, namespace, interface):
    """A client of BOOTP alone: it knows no lease, and it leaves the way out to the routing table."""
    namespace.ip("route", "add", "default", "dev", interface)
    result = namespace.run("bootpc", "--dev", interface, "--serverbcast", "--returniffail", "--timeoutwait", "15", check=False)
    values = dict(re.findall(r"^(\w+)='?(.*?)'?$", result.stdout, re.MULTILINE))
    return _given(values, "IPADDR", "NETMASK", "GATEWAYS", "HOSTNAME", "BOOTFILE", "no lease")
