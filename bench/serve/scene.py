"""Where it is measured: two namespaces and a cable, the servers at one end and the load at the other."""

import contextlib
import json
import os
import subprocess
import time

from harness.case import program
from harness.network import Namespace, connect
from harness.service import Service

SERVER, RELAY, PREFIX = "192.168.77.1", "192.168.77.2", "/24"
PORT = 67
LOAD_SECONDS = 120  # a load that takes longer hangs
LOAD_TRIES = 3
SETTLED_SECONDS = 0.1  # a database in use was not written this very moment, when it has to be read again and again


class Cleanups(contextlib.ExitStack):
    """What the harness expects of a test: somebody who cleans up after it."""

    def addCleanup(self, function, *arguments, **named):
        self.callback(function, *arguments, **named)


@contextlib.contextmanager
def pinned(cores):
    """Processes that are started in the block stay on these cores."""
    before = os.sched_getaffinity(0)
    os.sched_setaffinity(0, cores)
    try:
        yield
    finally:
        os.sched_setaffinity(0, before)


def _cpu_ms(process):
    cpu_clock = (~process << 3) | 2  # as the C library's clock_getcpuclockid forms it
    return time.clock_gettime_ns(cpu_clock) / 1e6


class _TimedService(Service):
    def launch(self):
        time.sleep(SETTLED_SECONDS)
        self.launched_ns = time.monotonic_ns()
        super().launch()


class _Prefixed:
    """A namespace whose processes are run by a tool."""

    def __init__(self, namespace, prefix):
        self._namespace, self._prefix = namespace, list(prefix)

    def start(self, command, **arguments):
        return self._namespace.start(self._prefix + command, **arguments)


class Scene(Cleanups):
    def __init__(self):
        super().__init__()
        cores = sorted(os.sched_getaffinity(0))
        if len(cores) < 2:
            raise SystemExit("The server and the load need a core each; there is only one.")
        self.server_core, self.load_core = {cores[0]}, {cores[1]}
        self._server, self._relay = Namespace(), Namespace()
        self.callback(self._server.close)
        self.callback(self._relay.close)
        connect(self._server, "lan", self._relay, "relay")
        self._server.address("lan", SERVER + PREFIX)
        self._relay.address("relay", RELAY + PREFIX)
        self._databases = {}

    def database(self, clients):
        """The bootptab with so many clients."""
        if clients not in self._databases:
            self._databases[clients] = subprocess.run([program("bench_bootptab"), str(clients)], check=True,
                                                      stdout=subprocess.PIPE).stdout
        return self._databases[clients]

    def forget_databases(self):
        self._databases.clear()

    @contextlib.contextmanager
    def echo(self):
        """The process of a running echo."""
        with pinned(self.server_core):
            process = self._server.start([program("bench_echo"), SERVER, str(PORT)], stdin=subprocess.DEVNULL)
        try:
            self.await_reply("--echo")
            yield process
        finally:
            process.kill()
            process.wait()

    @contextlib.contextmanager
    def service(self, clients, cores=None, prefix=(), **parameters):
        """A running service, set up as an installation would be, with all clients in its cache. `prefix`: the tool
        that runs it, with its arguments."""
        settings = {"EnableLogging": 0, "CacheSize": max(clients, 1000), **parameters}
        with Cleanups() as cleanups:
            with pinned(cores or self.server_core):
                service = _TimedService(cleanups, _Prefixed(self._server, prefix), self.database(clients), **settings)
            yield service

    def load(self, process, *words, echo=False):
        """Drives the server with the load until that ends, and returns what it has seen. Without a single reply, as
        on a machine that is busy with something else, there is no figure, and it is tried again."""
        kind = ["--echo"] if echo else []
        for _ in range(LOAD_TRIES):
            seen = self._answer(self.start_load("--process", str(process.pid), *kind, *words))
            if seen["replies"] != 0:
                return seen
        raise RuntimeError(f"no reply to {' '.join(words)} in {LOAD_TRIES} runs: {seen}")

    def start_load(self, *words):
        command = [program("bench_load"), "--server", SERVER, "--relay", RELAY, *words]
        with pinned(self.load_core):
            return self._relay.start(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)

    def await_reply(self, *words):
        return self._answer(self.start_load("--await-first", "10000", *words))

    def start_time(self, clients):
        """Milliseconds from the start of the process to its first reply, of the clock and of the processor, and its
        resident memory in MB after it."""
        self.database(clients)
        waiting = self.start_load("--await-first", str(LOAD_SECONDS * 1000 // 2))
        with self.service(clients) as service:
            first = self._answer(waiting)["first_reply_ns"]
            return {"first_reply_ms": (first - service.launched_ns) / 1e6, "cpu_ms": _cpu_ms(service.process.pid),
                    "memory_mb": service.memory() / 1e6}

    def reload_under_load(self, service, words, milliseconds):
        """What the load sees around a reload in the midst of it, and how long the reload took, in milliseconds."""
        load = self.start_load("--process", str(service.process.pid), "--measured", str(milliseconds), *words)
        with self._server.socket() as operator:
            operator.settimeout(LOAD_SECONDS)
            time.sleep(milliseconds / 3000)
            begun = time.monotonic()
            operator.sendto(b"RELOAD REQ\0", ("127.0.0.1", PORT))
            answer = operator.recv(100)
            took = time.monotonic() - begun
        if answer != b"RELOAD ACK\0":
            raise RuntimeError(f"the reload was refused: {answer!r}\n{service.report()}")
        return {**self._answer(load), "reload_ms": took * 1000}

    def _answer(self, load):
        try:
            output, _ = load.communicate(timeout=LOAD_SECONDS)
        finally:
            load.kill()
            load.wait()
        if load.returncode != 0:
            raise RuntimeError(f"the load ended with {load.returncode}")
        return json.loads(output)
