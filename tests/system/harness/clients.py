"""The clients of the distribution, run once each, and what they say they were given."""

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
        try:
            with open(self.path(f"env.{state}"), encoding="latin-1") as file:
                return dict(line.rstrip("\n").split("=", 1) for line in file if "=" in line)
        except FileNotFoundError:
            return None

    def run(self, command):
        return self._namespace.run(*command, check=False)

    def until_bound(self, command, state):
        """Runs a client that stays, until it has called its script in this state."""
        output = open(self.path("output"), "wb")
        process = self._namespace.start(command, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT)
        try:
            return wait_for(lambda: self.variables(state), CLIENT_SECONDS, f"{command[0]} in state {state}")
        except AssertionError as failure:
            with open(self.path("output"), encoding="latin-1") as file:
                raise AssertionError(f"{failure}\n{file.read()}") from None
        finally:
            process.kill()
            process.wait()
            output.close()


def udhcpc(case, namespace, interface):
    client = ClientRun(case, namespace)
    result = client.run(["udhcpc", "-i", interface, "-f", "-q", "-n", "-t", "5", "-T", "2", "-s", client.script])
    values = client.variables("bound")
    case.assertIsNotNone(values, result.stdout)
    return {"address": values.get("ip"), "mask": values.get("subnet"), "gateway": values.get("router"),
            "host name": values.get("hostname"), "boot file": values.get("boot_file"), "lease": values.get("lease")}


def dhclient(case, namespace, interface):
    client = ClientRun(case, namespace)
    settings = client.write("conf", "timeout 20;\nrequest subnet-mask, routers, host-name, dhcp-lease-time;\n")
    values = client.until_bound(["dhclient", "-4", "-d", "-1", "-cf", settings, "-lf", client.path("leases"),
                                 "-pf", client.path("pid"), "-sf", client.script, interface], "BOUND")
    return {"address": values.get("new_ip_address"), "mask": values.get("new_subnet_mask"),
            "gateway": values.get("new_routers"), "host name": values.get("new_host_name"),
            "boot file": values.get("new_filename"), "lease": values.get("new_dhcp_lease_time")}


def bootpc(case, namespace, interface):
    """A client of BOOTP alone: it knows no lease, and it leaves the way out to the routing table."""
    client = ClientRun(case, namespace)
    namespace.ip("route", "add", "default", "dev", interface)
    result = client.run(["bootpc", "--dev", interface, "--serverbcast", "--returniffail", "--timeoutwait", "15"])
    values = dict(re.findall(r"^(\w+)='?(.*?)'?$", result.stdout, re.MULTILINE))
    case.assertIn("IPADDR", values, result.stdout)
    return {"address": values["IPADDR"], "mask": values.get("NETMASK"), "gateway": values.get("GATEWAYS", "").strip(),
            "host name": values.get("HOSTNAME"), "boot file": values.get("BOOTFILE"), "lease": None}
