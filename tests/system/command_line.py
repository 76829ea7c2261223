"""The switches of the program: install, remove, version and the rest."""

import os

from harness.case import SystemTest, main, program
from harness.service import END_SECONDS, PARAMETERS, Home

USAGE = "\nQuillon command line switches:\n\n-install\n-remove\n-version\n"
INSTALLED = "Quillon service successfully installed\r\n"
REMOVED = "Quillon service successfully removed\r\n"
NOT_INSTALLED = "The service is not installed or you do not have access."


class CommandLine(SystemTest):
    def quillon(self, home, *words):
        environment = home.environment()
        environment.pop("NOTIFY_SOCKET", None)
        with open(home.path("said"), "wb") as said:
            process = self.network().start([program("quillon"), *words], cwd=home.folder, env=environment, stdout=said)
            code = process.wait(END_SECONDS)
        return code, home.read("said")

    def test_what_changes_nothing(self):
        home = Home(self)
        before = home.read("registry.reg")
        for words in (["-unknown"], ["unknown", "-install"], [""], ["/?"]):
            self.assertEqual(self.quillon(home, *words), (0, USAGE), words)
        self.assertEqual(self.quillon(home), (1, ""))
        code, text = self.quillon(home, "-VERSION", "-install")
        self.assertEqual(code, 0)
        self.assertRegex(text, r"\A\nQuillon version 2\.0\r\nBuild sha: \w+\r\nRelease build\r\n\Z")
        self.assertEqual(home.read("registry.reg"), before)

    def test_install_and_remove(self):
        home = Home(self)
        os.remove(home.path("registry.reg"))
        self.assertEqual(self.quillon(home, "-remove"), (1, NOT_INSTALLED))
        self.assertEqual(self.quillon(home, "-Install", "ignored"), (0, INSTALLED))
        registry, unit = home.read("registry.reg"), home.path("systemd/quillon.service")
        for name, value in {**PARAMETERS, "EnableLogging": 0}.items():
            text = f"dword:{value:08x}" if isinstance(value, int) else 'str(2):"{}"'.format(value.replace("\\", r"\\"))
            self.assertIn(f'"{name}"={text}\n', registry)
        source = registry[registry.index(r"EventLog\Application\Quillon]"):]
        self.assertIn('"TypesSupported"=dword:00000007', source)
        self.assertIn(f'"EventMessageFile"=str(2):"{program("quillon")}"', source)
        self.assertIn(f"ExecStart={program('quillon')}", home.read("systemd/quillon.service"))

        self.assertEqual(self.quillon(home, "-install"), (1, "Error installing the Quillon service\n"))
        os.rename(unit, unit + ".kept")
        os.mkdir(unit)
        self.assertEqual(self.quillon(home, "-remove"), (1, "Error deleting the Quillon service"))
        self.assertEqual(home.read("registry.reg"), registry)
        os.rmdir(unit)
        os.rename(unit + ".kept", unit)
        self.assertEqual(self.quillon(home, "-remove"), (0, REMOVED))
        registry = home.read("registry.reg")
        self.assertIn(r"Services\Quillon\Parameters]", registry)
        self.assertNotIn(r"EventLog\Application\Quillon]", registry)
        self.assertFalse(os.path.exists(unit))


if __name__ == "__main__":
    main()
