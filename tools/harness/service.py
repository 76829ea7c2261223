"""The service under test: its home, its start and its end, and what it wrote."""

import contextlib
import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile

from harness.case import program, wait_for

SERVICE_KEY = r"HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Quillon"

STARTED, TERMINATED, RELOADED = 0x40000001, 0x40000002, 3

# What an installation writes, but with the log switched on.
PARAMETERS = {
    "DatabasePath": r".\bootptab", "LogFile": "bootps.log", "HelperDLL": "arpadd.dll", "EnableLogging": 1,
    "LogLevel": 31, "ForceBroadcast": 0, "CacheSize": 1000, "ExpireSeconds": 10, "ExpireHits": 1,
    "DaemonSensitivity": 1000, "PacketTripRate": 5, "Daemonblksize": 600, "MaxDaemonThreads": 10,
    "SecondDaemonThreadTimeout": 1,
}

START_SECONDS = 60  # a sanitizer's start on a busy machine
END_SECONDS = 60

_EVENT = re.compile(r"^(\S+) (error|warning|information) (0x[0-9A-F]{8}) ([^:]*): ?(.*)$")


def _registry_value(value):
    if isinstance(value, int):
        return f"dword:{value & 0xFFFFFFFF:08x}"
    escaped = value.replace("\\", "\\\\").replace('"', '\\"')
    return f'str(2):"{escaped}"'


def registry_text(parameters):
    lines = ["Windows Registry Editor Version 5.00", "", f"[{SERVICE_KEY}]",
             f'"ImagePath"={_registry_value(program("quillon"))}', "", rf"[{SERVICE_KEY}\Parameters]"]
    lines += [f'"{name}"={_registry_value(value)}' for name, value in parameters.items()]
    return "\n".join(lines) + "\n"


class Home:
    """A folder for one instance, which goes with the test."""

    def __init__(self, case, database="", **parameters):
        self.folder = tempfile.mkdtemp(prefix="quillon-")
        case.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.parameters = {**PARAMETERS, **parameters}
        self.write("bootptab", database)
        self.write("registry.reg", registry_text(self.parameters))

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content.encode("latin-1") if isinstance(content, str) else content)

    def read(self, name):
        with contextlib.suppress(FileNotFoundError), open(self.path(name), "rb") as file:
            return file.read().decode("latin-1")
        return ""

    def environment(self, **more):
        return {**os.environ, "QUILLON_HOME": self.folder, **more}

    def events(self):
        """The event log as pairs of number and text."""
        found = []
        for line in self.read("events.log").splitlines():
            parts = _EVENT.match(line)
            if parts is None:
                raise AssertionError(f"a line of events.log in no known form: {line!r}")
            found.append((int(parts[3], 16), parts[5]))
        return found

    def event_numbers(self):
        return [number for number, _ in self.events()]

    def log(self):
        return self.read("bootps.log")

    def traces(self):
        """The trace blocks of the log, each as names and values."""
        return [dict(re.findall(r"^\t([^:]+): (.*?)\r$", block, re.MULTILINE))
                for block in self.log().split("\r\nPacket Received:\r\n")[1:]]


class Service(Home):
    """Runs the program as a service manager would, and sees to an end in order when the test is over."""

    def __init__(self, case, namespace, database, **parameters):
        super().__init__(case, database, **parameters)
        self._namespace = namespace
        self._manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._manager.bind(self.path("notify"))
        case.addCleanup(self._manager.close)
        self.launch()
        case.addCleanup(self.stop)
        self.await_event(STARTED, START_SECONDS)

    def launch(self):
        with open(self.path("output"), "wb") as output:
            environment = self.environment(NOTIFY_SOCKET=self.path("notify"))
            # A small quarantine, so that growth under AddressSanitizer is the program's own.
            environment["ASAN_OPTIONS"] = environment.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=4"
            self.process = self._namespace.start([program("quillon")], cwd=self.folder, env=environment,
                                                 stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT)

    def await_event(self, number, seconds=10, count=1):
        def probe():
            ended = self.process.poll()
            found = self.event_numbers().count(number) >= count
            if ended is not None and not found:
                raise AssertionError(f"the service ended with {ended}:\n{self.report()}")
            return found
        wait_for(probe, seconds, f"event 0x{number:08X}; there is:\n{self.report()}")

    def await_log(self, text, seconds=10, count=1):
        wait_for(lambda: self.log().count(text) >= count, seconds, f"{text!r} in the log; there is:\n{self.log()}")

    def await_trace(self, hardware, count=1, seconds=10):
        """The trace blocks for a hardware address, once there are as many as asked for."""
        def probe():
            found = [trace for trace in self.traces()
                     if trace.get("Hardware address", "").startswith(hardware) and "Reply status" in trace]  # it is whole
            return found if len(found) >= count else None
        return wait_for(probe, seconds, f"{count} traces for {hardware}; the log:\n{self.log()}")

    def report(self):
        return f"output: {self.read('output')}\nevents: {self.read('events.log')}"

    def stop(self):
        """Ends the service as its manager would; anything but an end in order is a failed test."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        try:
            code = self.process.wait(END_SECONDS)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise AssertionError(f"the service did not end within {END_SECONDS} s\n{self.report()}") from None
        if code != 0 or self.read("output"):
            raise AssertionError(f"the service ended with {code}\n{self.report()}")

    def memory(self):
        """Resident memory in bytes."""
        with open(f"/proc/{self.process.pid}/statm", encoding="ascii") as file:
            return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")

    def thread_count(self):
        return len(os.listdir(f"/proc/{self.process.pid}/task"))

    def is_sanitized(self):
        """Whether a sanitizer is built in: then memory isn't the program's own, and everything takes its time."""
        with open(f"/proc/{self.process.pid}/maps", encoding="utf-8") as file:
            libraries = file.read()
        return "libasan" in libraries or "libtsan" in libraries
