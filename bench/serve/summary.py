"""From the rounds to figures: medians, ratios to the echo of the same round, and the bars they have to reach."""

import statistics

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


AT_LEAST, AT_MOST = "at least", "at most"

# What it says, the parts of a run it needs, how the figure is had, and what it has to be.
BARS = (
    ("64 outstanding, 1,000 clients: rate to the echo's", (MAIN,), _echo_ratio(MAIN), AT_LEAST, 0.85),
    ("64 outstanding, 100,000 clients: rate to that at 1,000", (MAIN, "100000"), _between("100000", MAIN), AT_LEAST,
     0.95),
    ("one outstanding, BOOTP: median latency to the echo's", (MAIN,), _latency_ratio("bootp-1"), AT_MOST, 1.25),
    ("one outstanding, DISCOVER: median latency to the echo's", (MAIN,), _latency_ratio("discover-1"), AT_MOST, 1.25),
    ("trace log on: rate to the echo's", ("log",), _echo_ratio("log"), AT_LEAST, 0.55),
    ("not in the cache, 1,000 in the file: rate to the echo's", ("file-1000",), _echo_ratio("file-1000"), AT_LEAST, 0.4),
    ("not in the cache, 50,000 in the file: rate to the echo's", ("file-50000",), _echo_ratio("file-50000"), AT_LEAST,
     0.4),
    ("hlen 255: CPU time to that of an ordinary request", (MAIN, "hostile"), _hostile_cost, AT_MOST, 2),
    ("50,000 clients: first reply after, ms", ("start",), _start(50_000, "first_reply_ms"), AT_MOST, 250),
    ("50,000 clients: resident memory, MB", ("start",), _start(50_000, "memory_mb"), AT_MOST, 60),
    ("1,000,000 clients: first reply after, ms", ("start",), _start(1_000_000, "first_reply_ms"), AT_MOST, 5000),
    ("1,000,000 clients: resident memory, MB", ("start",), _start(1_000_000, "memory_mb"), AT_MOST, 1000),
    ("reload of 100,000 clients: longest gap between replies, ms", ("reload",), _worst_reload("longest_gap_ms"), AT_MOST,
     400),
    ("reload of 100,000 clients: requests lost", ("reload",), _worst_reload("lost"), AT_MOST, 0),
)


def bars(results):
    """The bars that this run can judge."""
    measured = set(results["rounds"][0]) | set(results)
    found = []
    for title, needs, figure, direction, limit in BARS:
        if not measured.issuperset(needs):
            continue
        value = figure(results)
        met = value >= limit if direction == AT_LEAST else value <= limit
        found.append({"title": title, "value": value, "direction": direction, "limit": limit, "met": met})
    return found
