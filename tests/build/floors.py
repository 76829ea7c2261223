"""Looks at the includes: a source may name its own floor and those below it, and of the layer nothing but its face. A folder
has 25 units at most.

Argument: the folder of the sources. The build keeps upward includes from compiling as well, as far as libraries go.
"""

import collections
import pathlib
import re
import sys

# From the top. A file belongs to the first row whose prefix it has.
FLOORS = [
    ("main", ["main.cpp"]),
    ("host", ["service/host/"]),
    ("ground", ["request/boot_packet", "platform/"]),
    ("request", ["request/"]),
    ("record", ["service/"]),
    ("database", ["database/"]),
    ("diagnostics", ["diagnostics/"]),
    ("helper", ["arp/helper/"]),
    ("arp", ["arp/"]),
]
ORDER = ["main", "host", "request", "record", "database", "diagnostics", "helper", "arp", "ground"]
SEES_THE_LAYER = {"ground", "helper"}
LIBRARY = "class_a/"
MOST_UNITS = 25
INCLUDE = re.compile(r'^#include "([^"]+/[^"]+)"', re.MULTILINE)


def floor_of(path):
    return next((name for name, prefixes in FLOORS if path.startswith(tuple(prefixes))), None)


def faults(root):
    for path in sorted(path for path in root.rglob("*") if path.suffix in {".cpp", ".h"}):
        name = path.relative_to(root).as_posix()
        for included in INCLUDE.findall(path.read_text(encoding="utf-8")):
            if name.startswith(LIBRARY) != included.startswith(LIBRARY):
                yield f"{name} includes {included}: the library stands apart"
            elif not name.startswith(LIBRARY):
                own, other = floor_of(name), floor_of(included)
                if own is None or other is None:
                    yield f"{name} includes {included}: stands on no floor"
                elif ORDER.index(own) > ORDER.index(other):
                    yield f"{name} includes {included}: {own} stands below {other}"
                elif included.startswith("platform/linux/") and own not in SEES_THE_LAYER:
                    yield f"{name} includes {included}: the layer's inside"


def crowded(root):
    units = collections.defaultdict(set)
    for path in root.rglob("*"):
        if path.suffix in {".cpp", ".h"}:
            units[path.parent].add(path.stem)
    for folder, names in sorted(units.items()):
        if len(names) > MOST_UNITS:
            yield f"{folder.relative_to(root)} has {len(names)} units, {MOST_UNITS} at most"


if __name__ == "__main__":
    found = [*faults(pathlib.Path(sys.argv[1])), *crowded(pathlib.Path(sys.argv[1]))]
    print("\n".join(found) or "every include leads down, and no folder is crowded")
    sys.exit(1 if found else 0)
