"""What the service uses of the machine, over time, and whether that grows."""

import dataclasses
import os
import statistics

PAGE = os.sysconf("SC_PAGE_SIZE")
TICKS = os.sysconf("SC_CLK_TCK")
WARM_UP = 0.2  # of the run


@dataclasses.dataclass
class Sample:
    second: float
    memory: int  # resident bytes
    descriptors: int
    threads: int
    cpu: float  # seconds, from the start of the process on
    answered: int
    dropped: int  # datagrams for which a socket of the service had no room


def _dropped(process):
    with open(f"/proc/{process}/net/snmp", encoding="ascii") as file:
        names, figures = (line.split() for line in file if line.startswith("Udp:"))
    return int(figures[names.index("RcvbufErrors")])


def take(second, process, answered):
    """Of a process that runs; raises OSError if it has ended."""
    with open(f"/proc/{process}/statm", encoding="ascii") as file:
        memory = int(file.read().split()[1]) * PAGE
    with open(f"/proc/{process}/stat", encoding="ascii") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return Sample(second, memory, len(os.listdir(f"/proc/{process}/fd")), len(os.listdir(f"/proc/{process}/task")),
                  (int(fields[11]) + int(fields[12])) / TICKS, answered, _dropped(process))


@dataclasses.dataclass
class Bound:
    name: str
    least: float  # growth that is always allowed
    share: float  # or so much of the earlier figure, if that is more
    floor: object  # what stands for a stretch of time: what is used when little goes on shows a leak best


BOUNDS = (Bound("memory", 4 << 20, 0.10, statistics.median), Bound("descriptors", 1, 0.0, min), Bound("threads", 1, 0.0, min))


def growth(samples):
    """A text for each figure that has grown beyond its bound, from the first quarter after the warm-up to the last."""
    if not samples:
        return ["nothing has been sampled"]
    end = samples[-1].second
    begin = end * WARM_UP
    quarter = (end - begin) / 4
    early = [each for each in samples if begin <= each.second <= begin + quarter]
    late = [each for each in samples if each.second >= end - quarter]
    if len(early) < 3 or len(late) < 3:
        return ["too few samples for a verdict"]
    found = []
    for bound in BOUNDS:
        before, after = (bound.floor(getattr(each, bound.name) for each in part) for part in (early, late))
        if after - before > max(bound.least, bound.share * before):
            found.append(f"{bound.name} grew from {before:,.0f} to {after:,.0f}")
    return found
