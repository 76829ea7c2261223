"""The package from its first installation to its purge, with systemd and without."""

import sys
import unittest

from machine import Machine, obstacle, package, skip_if

SETTINGS, CLIENTS = "/etc/quillon/registry.reg", "/var/lib/quillon/bootptab"
FILES = """
/usr/sbin/quillon /usr/bin/quillonctl /usr/lib/*/quillon/arpadd.so /etc/logrotate.d/quillon
/usr/share/man/man8/quillon.8.gz /usr/share/man/man1/quillonctl.1.gz /usr/share/man/man5/{bootptab,quillon-registry}.5.gz
/usr/share/doc/quillon/{copyright,changelog.gz,CHANGELOG.md.gz,operating.md,examples/bootptab.sample}
/usr/share/bash-completion/completions/quillonctl /usr/share/zsh/vendor-completions/_quillonctl
/usr/share/fish/vendor_completions.d/quillonctl.fish
"""

# Everything in the places of packages that has the name, but for the records of what was installed when.
TRACES = r"""
find /etc /usr /var -xdev -path /var/log -prune -o \( -iname '*quillon*' -o -name 'arpadd.*' \) -print
find /run -xdev -iname '*quillon*' -not -path '/run/systemd/*' -not -path '/run/log/*' -print
grep -i quillon /etc/passwd /etc/group || true
"""

# As a service manager does it: waits for READY=1, asks, stops, and expects an end in order.
UNDER_NOTIFICATION = r"""
import os, socket, subprocess, sys
manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
manager.bind("/root/notify")
manager.settimeout(30)
service = subprocess.Popen(["/usr/sbin/quillon"], env={**os.environ, "NOTIFY_SOCKET": "/root/notify"})
try:
    while b"READY=1" not in manager.recv(4096):
        pass
    ask = lambda *words: subprocess.run(["quillonctl", *words], text=True, stdout=subprocess.PIPE).stdout
    # A reload is only acknowledged when the start is over.
    reload = ask("reload", "127.0.0.1")
    while "Reload" not in reload and service.poll() is None:
        reload = ask("reload", "127.0.0.1")
    print(ask("query"), reload)
finally:
    service.terminate()
    print("ended with", service.wait(30))
"""


class LifeCycle(unittest.TestCase):
    def machine(self, manager):
        machine = Machine(manager)
        self.addCleanup(machine.close)
        machine.put(package(), "quillon.deb")
        self.assertEqual(self.traces(machine), "")
        return machine

    def traces(self, machine):
        return machine.run(TRACES)[1]

    def expect_fresh(self, machine):
        machine.run(f"bash -c 'ls {' '.join(FILES.split())}'")
        settings = machine.run(f"cat {SETTINGS}")[1]
        self.assertIn(r'"ImagePath"=str(2):"/usr/sbin/quillon"', settings)
        self.assertIn(r'"DatabasePath"=str(2):".\\bootptab"', settings)
        self.assertNotIn("/tmp", settings)
        parameters = settings[settings.index(r"\Quillon\Parameters]"):]
        for value in ('"ReloadSources"="local"', '"LogSizeLimit"=dword:40000000', '"EventRepeatSeconds"=dword:0000003c'):
            self.assertIn(value, parameters)
        self.assertEqual(machine.run("grep -c '^\\[.*-.*\\]' " + CLIENTS)[1], "1\n")
        machine.run("test ! -e /etc/systemd/system/quillon.service")

    def test_without_a_manager(self):
        machine = self.machine(manager=False)
        machine.run("dpkg --install quillon.deb")
        self.expect_fresh(machine)
        _, output = machine.run(f"cat >/root/manager.py <<'END'\n{UNDER_NOTIFICATION}\nEND\npython3 /root/manager.py")
        for text in ("RUNNING", "Reload acknowledged", "ended with 0"):
            self.assertIn(text, output)
        # The helper is found in the folder of the installation, and the sample serves as well.
        machine.run("cp /usr/share/doc/quillon/examples/bootptab.sample " + CLIENTS)
        self.assertIn("Reload acknowledged", machine.run("rm -f notify; python3 /root/manager.py")[1])
        # Configuring once more changes nothing.
        machine.run(f"cp -p {SETTINGS} {CLIENTS} /root; /var/lib/dpkg/info/quillon.postinst configure 2.0")
        machine.run(f"cmp {SETTINGS} /root/registry.reg; cmp {CLIENTS} /root/bootptab")
        machine.run("dpkg --remove quillon")
        machine.run(f"test -e {SETTINGS}; test -e {CLIENTS}")
        machine.run("dpkg --purge quillon")
        self.assertEqual(self.traces(machine), "")

    def test_under_systemd(self):
        machine = self.machine(manager=True)
        machine.run("dpkg --install quillon.deb")
        self.expect_fresh(machine)
        state = machine.run("systemctl is-enabled quillon || true; systemctl is-active quillon || true")[1]
        self.assertEqual(state.split(), ["disabled", "inactive"])

        machine.run("systemctl enable --now quillon")
        # RUNNING doesn't wait for the load.
        machine.run("for second in $(seq 60); do journalctl -t Quillon | grep 'has started' && exit; sleep 1; done; exit 1")
        self.assertIn("RUNNING", machine.run("quillonctl query")[1])
        machine.run("systemctl reload quillon")
        # A client that the operator hasn't entered gets no reply.
        code, output = machine.run("quillonctl ask 02-00-5e-10-00-15 --server 127.0.0.1 --broadcast --timeout 2", check=False)
        self.assertEqual((code, output.strip()), (1, "quillonctl: no reply"))

        edits = f"echo '; the operator was here' >>{SETTINGS}; echo '; and here' >>{CLIENTS}"
        machine.run(f"{edits}; cat {SETTINGS} {CLIENTS} >/root/before")
        before = machine.run("systemctl show --property MainPID --value quillon")[1]
        machine.run("mkdir new; dpkg-deb --raw-extract quillon.deb new; sed -i 's/^Version: .*/&+next/' new/DEBIAN/control;"
                    " dpkg-deb --build new next.deb; dpkg --install next.deb")
        machine.run(f"cat {SETTINGS} {CLIENTS} | cmp - /root/before")
        self.assertIn("RUNNING", machine.run("quillonctl query")[1])
        after = machine.run("systemctl show --property MainPID --value quillon")[1]
        self.assertNotIn(after, (before, "0\n"))

        self.expect_patience(machine)
        machine.run(f"cat {SETTINGS} {CLIENTS} >/root/before; dpkg --remove quillon")
        self.assertIn("inactive", machine.run("systemctl is-active quillon", check=False)[1])
        machine.run(f"cat {SETTINGS} {CLIENTS} | cmp - /root/before")
        machine.run("dpkg --install next.deb")
        machine.run(f"cat {SETTINGS} {CLIENTS} | cmp - /root/before; dpkg --purge quillon")
        self.assertEqual(self.traces(machine), "")

    def expect_patience(self, machine):
        """With an address that comes late: an event names it, and no limit of starts leaves the service down."""
        machine.run(f"sed -i '/Parameters.$/a \"LocalAddrs\"=\"10.9.9.9\"' {SETTINGS}; cd /etc/systemd/system; mkdir quillon.service.d;"
                    " printf '[Service]\\nRestartSec=100ms\\n' >quillon.service.d/soon.conf; systemctl daemon-reload;"
                    " systemctl restart quillon || true;"
                    " until [ $(journalctl -t Quillon -o cat | grep -c 'LocalAddrs names 10.9.9.9, which') -gt 6 ]; do sleep 0.1; done")
        machine.run("ip address add 10.9.9.9/32 dev lo; until quillonctl reload 10.9.9.9; do sleep 0.1; done;"
                    " rm -r /etc/systemd/system/quillon.service.d; systemctl daemon-reload")


if __name__ == "__main__":
    skip_if(obstacle(manager="test_under_systemd" in " ".join(sys.argv)))
    unittest.main(verbosity=2)
