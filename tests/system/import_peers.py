"""After an import, clients are given what the server gave them from whose configuration it came."""

import json
import os
import re
import subprocess
import tempfile
import unittest

from harness import bootp, peers
from harness.case import SystemTest, main, program
from harness.service import Service

HOSTS = 3000
SUBNETS = 6
WISHES = bytes([1, 3, 6, 12, 15, 17, 42, 51])


class Host:
    """One of the clients: two in three have a name, one in three a boot file of its own, one in five a gateway."""

    def __init__(self, number):
        self.number, self.subnet = number, number % SUBNETS
        self.mac = f"02:00:5e:{number >> 16:02x}:{number >> 8 & 255:02x}:{number & 255:02x}"
        self.address = f"10.{self.subnet + 1}.{1 + number // 200}.{1 + number % 200}"
        self.name = f"pc{number}" if number % 3 else None
        self.file = f"images/pc{number}.img" if number % 3 == 1 else None
        self.gateway = f"10.{self.subnet + 1}.255.{1 + number % 200}" if number % 5 == 0 else None
        self.in_group = number % 7 == 0  # that has a root path, and a boot file for those without

    def own(self, file, gateway, name):
        """The forms of what it has of its own, filled in."""
        values = ((file, self.file), (gateway, self.gateway), (name, self.name))
        return [form.format(value) for form, value in values if value]


HOST_LIST = [Host(number) for number in range(HOSTS)]
GROUP_FILE, GROUP_ROOT = "groups/thin.0", "10.1.0.9:/srv/thin"


def dhcpd_conf():
    def declare(wanted):
        return "".join(f"host h{host.number} {{ hardware ethernet {host.mac}; fixed-address {host.address}; "
                       + "".join(host.own('filename "{}"; ', "option routers {}; ", 'option host-name "{}"; ')) + "}\n"
                       for host in HOST_LIST if wanted(host))

    text = ("authoritative;\nddns-update-style none;\ndefault-lease-time 7200;\n"
            'option domain-name "plant.example";\noption domain-name-servers 10.1.0.53, 10.1.0.54;\n'
            "subnet 10.250.0.0 netmask 255.255.255.0 { }\n")
    # A host may stand in its subnet, in a group there, or outside.
    for subnet in range(SUBNETS):
        text += (f"subnet 10.{subnet + 1}.0.0 netmask 255.255.0.0 {{\n  option routers 10.{subnet + 1}.0.1;\n"
                 f'  filename "subnet{subnet}.0";\n  # as everybody here has it\n  option ntp-servers 10.{subnet + 1}.0.42;\n'
                 + declare(lambda host: host.subnet == subnet and host.number % 2 and not host.in_group) + "}\n")
    text += declare(lambda host: host.number % 2 == 0 and not host.in_group)
    return text + (f'group {{\n  filename "{GROUP_FILE}";\n  option root-path "{GROUP_ROOT}";\n'
                   + declare(lambda host: host.in_group) + "}\n")


def dnsmasq_conf():
    text = ("port=0\ndhcp-authoritative\ndomain=plant.example\ndhcp-option=option:dns-server,10.1.0.53,10.1.0.54\n"
            f"dhcp-option=tag:thin,option:root-path,{GROUP_ROOT}\n")
    for subnet in range(SUBNETS):
        text += (f"dhcp-range=set:net{subnet},10.{subnet + 1}.0.0,static,255.255.0.0,2h\n"
                 f"dhcp-option=tag:net{subnet},option:router,10.{subnet + 1}.0.1\n"
                 f"dhcp-option=tag:net{subnet},42,10.{subnet + 1}.0.42 # as everybody here has it\n"
                 f"dhcp-boot=tag:net{subnet},subnet{subnet}.0\n")
    text += f"dhcp-boot=tag:thin,{GROUP_FILE}\n"
    for host in HOST_LIST:
        tags = "set:thin," if host.in_group else ""
        if host.gateway:
            tags += f"set:g{host.number},"
            text += f"dhcp-option=tag:g{host.number},3,{host.gateway}\n"
        text += f"dhcp-host={host.mac},{tags}{host.address}" + (f",{host.name}" if host.name else "") + "\n"
    return text


def kea_conf():
    def option(name, data):
        return {"name": name, "data": data}

    def reserve(host):
        own = {"hostname": host.name, "boot-file-name": host.file, "client-classes": ["thin"] if host.in_group else None,
               "option-data": [option("routers", host.gateway)] if host.gateway else None}
        return {"hw-address": host.mac, "ip-address": host.address, **{key: value for key, value in own.items() if value}}

    def subnet(number):
        return {"subnet": f"10.{number + 1}.0.0/16", "id": number + 1, "boot-file-name": f"subnet{number}.0",
                "option-data": [option("routers", f"10.{number + 1}.0.1"), option("ntp-servers", f"10.{number + 1}.0.42")],
                "reservations": [reserve(host) for host in HOST_LIST if host.subnet == number]}

    server = {"interfaces-config": {"interfaces": ["lan"], "dhcp-socket-type": "udp"}, "valid-lifetime": 7200,
              "lease-database": {"type": "memfile", "persist": False}, "host-reservation-identifiers": ["hw-address"],
              "option-data": [option("domain-name", "plant.example"), option("domain-name-servers", "10.1.0.53, 10.1.0.54")],
              "client-classes": [{"name": "thin", "boot-file-name": GROUP_FILE, "option-data": [option("root-path", GROUP_ROOT)]}],
              "subnet4": [subnet(number) for number in range(SUBNETS)]}
    return "# Written by hand, more or less\n" + json.dumps({"Dhcp4": server}, indent=2)


class ImportPeers(SystemTest):
    def setUp(self):
        self.server, self.machine = self.cable("02:00:00:00:99:01", "10.250.0.1/24")
        self.machine.address("eth0", "10.250.0.2/24")
        self.server.ip("route", "add", "10.0.0.0/8", "via", "10.250.0.2")
        self.relays = []
        for subnet in range(SUBNETS):
            self.machine.ip("address", "add", f"10.{subnet + 1}.255.250/32", "dev", "lo")
            relay = self.machine.socket()
            self.addCleanup(relay.close)
            relay.bind((f"10.{subnet + 1}.255.250", 67))
            relay.settimeout(20)
            self.relays.append(relay)

    def ask(self, host):
        """What the server offers this client, asked through the relay agent of its subnet."""
        relay = self.relays[host.subnet]
        wishes = bootp.option(bootp.PARAMETER_LIST, WISHES)
        relay.sendto(bootp.dhcp(host.mac, bootp.DISCOVER, wishes, xid=host.number + 1, giaddr=relay.getsockname()[0],
                                length=548), ("10.250.0.1", 67))
        while (reply := bootp.parse(relay.recv(4096))) is None or reply.op != 2 or reply.xid != host.number + 1:
            pass
        options = reply.options
        self.assertEqual(options[bootp.MESSAGE_TYPE], bytes([bootp.OFFER]))
        text = {tag: options.get(tag, b"").rstrip(b"\0").decode() for tag in (12, 15, 17, 67)}
        return {"address": reply.yiaddr, "name": text[12], "domain": text[15], "root": text[17],
                "file": reply.file or text[67], **{tag: options.get(tag, b"").hex(".") for tag in (1, 3, 6, 42, 51)}}

    def answers(self):
        return {host.mac: self.ask(host) for host in HOST_LIST}

    def test_each_server(self):
        for kind, configuration in (("dhcpd", dhcpd_conf()), ("dnsmasq", dnsmasq_conf()), ("kea", kea_conf())):
            with self.subTest(kind):
                peer = peers.Peer(self, self.server, kind, configuration)
                expected = self.answers()
                peer.stop()
                result = subprocess.run([program("quillonctl"), "import", "--from", kind, peer.configuration],
                                        check=False, capture_output=True, text=True, timeout=120)
                self.assertEqual((result.returncode, result.stderr), (0, ""))
                self.assertEqual(result.stdout.count("\n[02-00-5e-"), HOSTS)
                service = Service(self, self.server, result.stdout, CacheSize=0, EnableLogging=0)
                given = self.answers()
                service.stop()
                differing = {mac: (answer, given[mac]) for mac, answer in expected.items() if given[mac] != answer}
                self.assertEqual(differing, {}, f"{len(differing)} of {HOSTS}")
                self.assertLessEqual({GROUP_FILE, "subnet2.0"}, {answer["file"] for answer in expected.values()})
                self.assertGreater(len({answer["name"] for answer in expected.values()}), HOSTS // 2)


# The samples of the packages with all that is switched off in them switched on; a client that has to come out of each, and
# what the lines that can't be carried are about.
SAMPLES = (
    ("dhcpd", "etc/dhcp/dhcpd.conf", "[08-00-07-26-c0-a5]\nTemplate = 10.254.239.0/27\nIP Address = 10.254.239.2\n",
     r" *(range|host passacaglia|server-name|class|pool)\b"),
    ("dnsmasq", "usr/share/doc/dnsmasq-base/examples/dnsmasq.conf.example",
     "[11-22-33-44-55-66]\nTemplate = 192.168.0.0/24\nIP Address = 192.168.0.60\n",
     r"dhcp-|pxe-|conf-|domain=|read-ethers|enable-tftp|tftp-root"),
    ("kea", "etc/kea/kea-dhcp4.conf", "[1a-1b-1c-1d-1e-1f]\nTemplate = 192.0.2.0/24\nIP Address = 192.0.2.201\n",
     r' *("next-server"|"server-hostname"|"pools"|"client-classes"|"name": "voip"|\{|"(client-id|duid|circuit-id|flex-id)")'),
)
NAMES = "".join(f"10.254.239.{number} {name}.example.org {name}.example.com\n" for number, name in enumerate(
    ("ns1", "ns2", "fantasia", "rtr-239-0-1", "rtr-239-0-2", "rtr-239-32-1", "ns1.internal", "rtr-224", "rtr-29")))


class Samples(unittest.TestCase):
    def test_what_they_have_is_carried_or_named_with_its_line(self):
        folder = self.enterContext(tempfile.TemporaryDirectory())
        names, sample = (os.path.join(folder, name) for name in ("hosts", "sample"))
        for kind, path, client, dropped in SAMPLES:
            with self.subTest(kind), open(os.path.join(peers.FOLDER, path), encoding="utf-8") as file:
                text = file.read() if kind == "kea" else re.sub(r"^#(?! [^ ])", "", file.read(), flags=re.MULTILINE)
                for name, content in ((names, NAMES), (sample, text)):
                    with open(name, "w", encoding="utf-8") as written:
                        written.write(content)
                result = subprocess.run([program("quillonctl"), "import", "--from", kind, "--hosts", names, sample],
                                        check=False, capture_output=True, text=True, timeout=60)
                self.assertEqual(result.returncode, 1)
                self.assertIn(client, result.stdout)
                for complaint in result.stderr.splitlines():
                    number = int(re.match(re.escape(sample) + r":(\d+): .", complaint)[1])
                    self.assertRegex(text.splitlines()[number - 1], f"^(?:{dropped})", complaint)


if __name__ == "__main__":
    peers.require("dhcpd", "dnsmasq", "kea-dhcp4")
    main()
