"""The table of faults. An entry in a file of it, and an empty line after it:

    # name of the fault
    @ source file
     a line that stays, to tell like places apart
    -a line that goes
    +a line that comes
    ? test that has to fail, and others that may do so as well
    ! what else holds

Each line of the source is given whole behind its first character, and what is to go with the lines that stay occurs once in the
file. There may be several pairs of "@" and lines. A test is named as ctest does; behind a slash may stand the only case of a
script that is to be run. "!" is followed by

    hangs          a test that doesn't come to its end in time has found the fault too
    unbuildable    the compiler is to refuse a test
"""

import dataclasses
import re

FLAGS = {"hangs", "unbuildable"}


@dataclasses.dataclass
class Hunk:
    file: str
    old: str = ""
    new: str = ""

    def count_in(self, text):
        return ("\n" + text).count("\n" + self.old) if self.old else 0

    def applied_to(self, text):
        return ("\n" + text).replace("\n" + self.old, "\n" + self.new, 1)[1:]


@dataclasses.dataclass
class Fault:
    table: str
    name: str
    hunks: list = dataclasses.field(default_factory=list)
    tests: list = dataclasses.field(default_factory=list)
    flags: set = dataclasses.field(default_factory=set)

    def fits(self, pattern):
        return any(re.search(pattern, text) for text in (self.table, self.name, *self.tests, *(hunk.file for hunk in self.hunks)))

    def complaints(self, top, suite):
        for hunk in self.hunks:
            path = top / hunk.file
            count = hunk.count_in(path.read_text(encoding="utf-8")) if path.exists() else 0
            if count != 1:
                yield f"does not fit any more: its lines occur {count} times in {hunk.file}"
        if not self.hunks or not self.tests:
            yield "has no lines, or no test"
        for test in self.tests:
            if suite.targets_of(test) is None:
                yield f"there is no test {test}"
        for flag in self.flags - FLAGS:
            yield f"'{flag}' means nothing"


def parse(table, text):
    fault = None
    for number, line in enumerate(text.splitlines(), 1):
        mark, rest = line[:1], line[1:]
        if mark == "#":
            fault = Fault(table, rest.strip())
            yield fault
        elif mark == "@":
            fault.hunks.append(Hunk(rest.strip()))
        elif mark == "?":
            fault.tests += rest.split()
        elif mark == "!":
            fault.flags |= set(rest.split())
        elif mark in ("-", "+", " "):
            hunk = fault.hunks[-1]
            if mark != "+":
                hunk.old += rest + "\n"
            if mark != "-":
                hunk.new += rest + "\n"
        elif mark:
            raise ValueError(f"{table}.txt:{number}: a line begins with '{mark}'")


def read_all(folder):
    return [fault for path in sorted(folder.glob("*.txt")) for fault in parse(path.stem, path.read_text(encoding="utf-8"))]
