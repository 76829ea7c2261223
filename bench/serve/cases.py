"""What is measured: the loads, the servers they drive, and the order in which they alternate."""

import dataclasses
import statistics

KINDS = ("bootp", "discover")
OUTSTANDING = (1, 8, 64)
REFERENCE = "discover-64"  # the load of all cases but the first


@dataclasses.dataclass(frozen=True)
class Pace:
    rounds: int
    measured: int  # milliseconds of one measurement
    starts: int  # of each size
    reload_span: int  # milliseconds of load around a reload


FULL = Pace(rounds=7, measured=1500, starts=5, reload_span=4500)
QUICK = Pace(rounds=5, measured=400, starts=1, reload_span=3000)

START_SIZES = (1000, 50_000, 1_000_000)
RELOAD_CLIENTS = 100_000


@dataclasses.dataclass(frozen=True)
class Case:
    """A service that is measured in every round. `loads`: those of them it is driven with."""
    name: str
    title: str
    clients: int
    loads: tuple = (REFERENCE,)
    parameters: dict = dataclasses.field(default_factory=dict)
    two_cores: bool = False
    hostile: int = 0


def load_name(kind, outstanding):
    return f"{kind}-{outstanding}"


ALL_LOADS = tuple(load_name(kind, outstanding) for kind in KINDS for outstanding in OUTSTANDING)

ECHO = "echo"
MAIN = "1000"

# Those that are compared with each other follow each other: what else the machine does changes in the meantime.
CASES = (
    Case(MAIN, "1,000 clients", 1000, ALL_LOADS),
    Case("100000", "100,000 clients", 100_000),
    Case("100", "100 clients", 100),
    Case("10000", "10,000 clients", 10_000),
    Case("file-1000", "not in the cache, 1,000 in the file", 1000, parameters={"CacheSize": 1}),
    Case("file-50000", "not in the cache, 50,000 in the file", 50_000, parameters={"CacheSize": 1}),
    Case("log", "1,000 clients, trace log on", 1000, parameters={"EnableLogging": 1}),
    Case("two-cores", "1,000 clients, two cores for the server", 1000, two_cores=True),
    Case("hostile", "1,000 clients, a datagram with hlen 255 ahead of each request", 1000, hostile=1),
)


def load_words(load, case, pace, seed):
    kind, outstanding = load.split("-")
    return ["--kind", kind, "--outstanding", outstanding, "--clients", str(case.clients), "--seed", str(seed),
            "--hostile", str(case.hostile), "--measured", str(pace.measured)]


def measure_case(scene, case, pace, seed):
    cores = scene.server_core | scene.load_core if case.two_cores else None
    with scene.service(case.clients, cores, **case.parameters) as service:
        found = {}
        for load in case.loads:
            found[load] = scene.load(service.process, *load_words(load, case, pace, seed))
            found[load]["memory_mb"] = service.memory() / 1e6
        return found


def measure_echo(scene, pace, seed):
    with scene.echo() as process:
        return {load: scene.load(process, *load_words(load, CASES[0], pace, seed), echo=True) for load in ALL_LOADS}


def measure_reload(scene, pace):
    """One reload of many clients under load, and the same load without it, which tells what else makes gaps."""
    words = ["--clients", str(RELOAD_CLIENTS), "--patience", "20000"]
    with scene.service(RELOAD_CLIENTS) as service:
        undisturbed = scene.load(service.process, "--measured", str(pace.reload_span // 2), *words)
        reload = scene.reload_under_load(service, words, pace.reload_span)
    return {"longest_gap_ms": reload["longest_gap_ms"], "lost": reload["lost"], "wrong": reload["wrong"],
            "reload_ms": reload["reload_ms"], "gap_without_reload_ms": undisturbed["longest_gap_ms"]}


def measure_starts(scene, clients, pace):
    """The median of some starts; the largest is started once, because it takes that long."""
    times = 1 if clients >= 1_000_000 else pace.starts
    found = [scene.start_time(clients) for _ in range(times)]
    return {name: statistics.median(start[name] for start in found) for name in found[0]} | {"starts": times}


def measure_all(scene, pace, chosen, say):
    """Everything, as plain dictionaries. `chosen`: the names of the cases wanted; the echo is always there."""
    rounds = []
    cases = [case for case in CASES if case.name in chosen]
    for number in range(1, pace.rounds + 1):
        say(f"round {number} of {pace.rounds}: {ECHO}")
        found = {ECHO: measure_echo(scene, pace, number)}
        for case in cases:
            say(f"round {number} of {pace.rounds}: {case.title}")
            found[case.name] = measure_case(scene, case, pace, number)
        rounds.append(found)
    results = {"rounds": rounds}
    if "reload" in chosen:
        say(f"a reload of {RELOAD_CLIENTS:,} clients")
        results["reload"] = [measure_reload(scene, pace) for _ in range(pace.starts)]
    if "start" in chosen:
        results["start"] = {}
        for clients in START_SIZES:
            scene.forget_databases()
            say(f"starts with {clients:,} clients")
            results["start"][str(clients)] = measure_starts(scene, clients, pace)
    return results


CHOICES = tuple(case.name for case in CASES) + ("reload", "start")
