"""logrotate with the file of the package: the old log is put away, and the service goes on in a new one."""

import os

from harness import bootp, peers
from harness.case import main, program
from harness.scene import MAC, Scene

CONFIGURATION = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../packaging/logrotate/quillon")


class LogRotation(Scene):
    def rotate(self, code=0):
        """Puts the log away, whether it is time or not."""
        with open(CONFIGURATION, encoding="utf-8") as file:
            text = file.read()
        for word, place in (("/var/lib/quillon", self.service.folder), ("/usr/bin/quillonctl", program("quillonctl"))):
            self.assertIn(word, text)
            text = text.replace(word, place)
        self.service.write("rotation", text)
        os.chmod(self.service.path("rotation"), 0o644)
        result = self.server.run(peers.program("logrotate"), "--force", "--state", self.service.path("state"),
                                 self.service.path("rotation"), check=False,
                                 env=peers.environment(QUILLON_HOME=self.service.folder))
        self.assertEqual((result.returncode, result.stdout if code == 0 else ""), (code, ""), result.stdout)

    def expect_rotated(self):
        """One trace each in the old log and in the new one."""
        self.assertEqual(self.service.read("bootps.log.1").count("\r\nPacket Received:\r\n"), 1)
        self.assertIn("Quillon service started", self.service.log())

    def test_the_service_writes_on_in_a_new_log(self):
        self.start()
        self.ask()
        self.service.await_trace(bootp.section_name(MAC))
        self.rotate()
        self.assertEqual(self.service.traces(), [])
        self.expect_rotated()
        self.ask()
        self.service.await_trace(bootp.section_name(MAC))
        self.expect_rotated()
        # A second time the older one is compressed; without the service that goes as well.
        self.service.stop()
        self.rotate()
        self.assertTrue(os.path.exists(self.service.path("bootps.log.2.gz")))
        self.assertFalse(os.path.exists(self.service.path("bootps.log")))

    def test_a_refused_reload_is_reported(self):
        self.start()
        self.put_database("[stray]\n")
        self.rotate(code=1)


if __name__ == "__main__":
    peers.require("logrotate")
    main()
