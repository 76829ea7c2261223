"""From the rounds to figures: medians, ratios to the echo of the same round, and the bars they have to reach."""

import dataclasses
import statistics
from collections.abc import Callable

from cases import CASES, ECHO, MAIN, REFERENCE

FIGURES = ("replies_per_second", "p50_us", "p99_us", "server_cpu_us", "load_busy", "memory_mb")


def _pairs(rounds, name, load):
    """The measurement and that of the echo, round by round."""
    return [(found[name][load], found[ECHO][load]) for found in rounds]


def _row(rounds, name, title, load):
    pairs = _pairs(rounds, name, load)
    row = {"case": name, "title": title, "load": load}
    for figure in FIGURES:
        values = [here[figure] for here, _ in pairs if figure in here]
        if values:
            row[figure] = statistics.median(values)
    row["lost"] = sum(here["lost"] for here, _ in pairs)
    row["wrong"] = sum(here["wrong"] for here, _ in pairs)
    row["lowest_replies_per_second"] = min(here["replies_per_second"] for here, _ in pairs)
    row["highest_replies_per_second"] = max(here["replies_per_second"] for here, _ in pairs)
    ratios = [here["replies_per_second"] / there["replies_per_second"] for here, there in pairs]
    row["ratio"] = statistics.median(ratios)
    row["lowest_ratio"], row["highest_ratio"] = min(ratios), max(ratios)
    row["cpu_ratio"] = statistics.median(there["server_cpu_us"] / here["server_cpu_us"] for here, there in pairs)
    row["latency_ratio"] = statistics.median(here["p50_us"] / there["p50_us"] for here, there in pairs)
    return row


def rows(results):
    rounds = results["rounds"]
    titles = {ECHO: "echo", **{case.name: case.title for case in CASES}}
    return [_row(rounds, name, titles[name], load) for name in rounds[0] for load in rounds[0][name]]


def _median_over_rounds(results, quotient):
    return statistics.median(quotient(found) for found in results["rounds"])


def _rate(found, name):
    return found[name][REFERENCE]["replies_per_second"]


def _cpu(found, name):
    return found[name][REFERENCE]["server_cpu_us"]


def _echo_ratio(name, load=REFERENCE):
    return lambda results: _median_over_rounds(
        results, lambda found: found[name][load]["replies_per_second"] / found[ECHO][load]["replies_per_second"])


def _latency_ratio(load):
    return lambda results: _median_over_rounds(
        results, lambda found: found[MAIN][load]["p50_us"] / found[ECHO][load]["p50_us"])


def _between(name, other):
    return lambda results: _median_over_rounds(results, lambda found: _rate(found, name) / _rate(found, other))


def _hostile_cost(results):
    return _median_over_rounds(results, lambda found: _cpu(found, "hostile") / _cpu(found, MAIN) - 1)


def _start(clients, figure):
    return lambda results: results["start"][str(clients)][figure]


def _worst_reload(figure):
    return lambda results: max(reload[figure] for reload in results["reload"])


def _faults(results):
    loads = [seen for found in results["rounds"] for measured in found.values() for seen in measured.values()]
    return sum(seen["lost"] + seen["wrong"] for seen in loads)


AT_LEAST, AT_MOST = "at least", "at most"
MET = "met"
LEAST_CORE_SHARE = 0.85

@dataclasses.dataclass(frozen=True)
class Bar:
    title: str
    needs: tuple  # the parts of a run without which there is no figure
    figure: Callable
    direction: str
    limit: float
    is_rate: bool = False  # a rate says something only if the server has a core to itself


BARS = (
    Bar("64 outstanding, 1,000 clients: rate to the echo's", (MAIN,), _echo_ratio(MAIN), AT_LEAST, 0.85, True),
    Bar("64 outstanding, 100,000 clients: rate to that at 1,000", (MAIN, "100000"), _between("100000", MAIN),
        AT_LEAST, 0.95, True),
    Bar("one outstanding, BOOTP: median latency to the echo's", (MAIN,), _latency_ratio("bootp-1"), AT_MOST, 1.25),
    Bar("one outstanding, DISCOVER: median latency to the echo's", (MAIN,), _latency_ratio("discover-1"),
        AT_MOST, 1.25),
    Bar("trace log on: rate to the echo's", ("log",), _echo_ratio("log"), AT_LEAST, 0.55, True),
    Bar("not in the cache, 1,000 in the file: rate to the echo's", ("file-1000",), _echo_ratio("file-1000"),
        AT_LEAST, 0.4, True),
    Bar("not in the cache, 50,000 in the file: rate to the echo's", ("file-50000",), _echo_ratio("file-50000"),
        AT_LEAST, 0.4, True),
    Bar("not in the cache, 50,000 in the file: rate to that at 1,000", ("file-1000", "file-50000"),
        _between("file-50000", "file-1000"), AT_LEAST, 0.9, True),
    Bar("hlen 255: CPU time to that of an ordinary request", (MAIN, "hostile"), _hostile_cost, AT_MOST, 2),
    Bar("50,000 clients: first reply after, ms", ("start",), _start(50_000, "first_reply_ms"), AT_MOST, 250),
    Bar("50,000 clients: resident memory, MB", ("start",), _start(50_000, "memory_mb"), AT_MOST, 60),
    Bar("1,000,000 clients: first reply after, ms", ("start",), _start(1_000_000, "first_reply_ms"), AT_MOST, 5000),
    Bar("1,000,000 clients: resident memory, MB", ("start",), _start(1_000_000, "memory_mb"), AT_MOST, 1000),
    Bar("reload of 100,000 clients: longest gap between replies, ms", ("reload",), _worst_reload("longest_gap_ms"),
        AT_MOST, 400),
    Bar("reload of 100,000 clients: requests lost", ("reload",), _worst_reload("lost"), AT_MOST, 0),
    Bar("all loads: requests lost, and replies that are wrong", (), _faults, AT_MOST, 0),
)


def core_share(results, names):
    """The part of its core that the server had at 64 outstanding, of these the one that had the least. It is nearly all
    of the core, unless others use it too."""
    return min(_median_over_rounds(results, lambda found: _rate(found, name) * _cpu(found, name) / 1e6)
               for name in names)


def _verdict(results, bar, value):
    if bar.is_rate:
        share = core_share(results, (ECHO, *bar.needs))
        if share < LEAST_CORE_SHARE:
            return f"unsure: others used {1 - share:.0%} of the core"
    return MET if (value >= bar.limit if bar.direction == AT_LEAST else value <= bar.limit) else "MISSED"


def bars(results):
    """The bars that this run can judge."""
    measured = set(results["rounds"][0]) | set(results)
    found = []
    for bar in BARS:
        if measured.issuperset(bar.needs):
            value = bar.figure(results)
            found.append({"title": bar.title, "value": value, "direction": bar.direction, "limit": bar.limit,
                          "verdict": _verdict(results, bar, value)})
    return found
