"""Which tests there are, which target each needs, and how one is run."""

import os
import re
import sys

PROGRAMS = ["quillon", "quillonctl", "arpadd"]
SCRIPTS = {"system": PROGRAMS, "faults": [*PROGRAMS, "disturbed_calls"]}


class Suite:
    def __init__(self, top):
        self._tests = top / "tests"
        self._target = {}  # of each case of a test program
        for path in self._tests.rglob("CMakeLists.txt"):
            self._read(path)

    def _read(self, path):
        text = path.read_text(encoding="utf-8")
        for name, files in re.findall(r"set\((\w+)\s+([^)]*)\)", text):
            text = text.replace("${" + name + "}", files)
        for target, sources in re.findall(r"quillon_test\((\w+)\s+SOURCES\s+(.*?)\s+LIBRARIES", text, re.DOTALL):
            for source in sources.split():
                code = (path.parent / source).read_text(encoding="utf-8")
                cases = re.findall(r"^TEST(?:_F|_P)?\((\w+),\s*(\w+)\)", code, re.MULTILINE)
                self._target.update((f"{suite}.{case}", target) for suite, case in cases)

    def _script_of(self, test):
        group, _, name = test.partition("/")[0].partition(".")
        script = self._tests / group / f"{name}.py"
        return (group, script) if group in SCRIPTS and script.exists() else None

    def targets_of(self, test):
        """None if there is no such test."""
        if test in self._target:
            return [self._target[test]]
        found = self._script_of(test)
        if found is None:
            return None
        case = test.partition("/")[2]
        if case and f"def {case}(" not in found[1].read_text(encoding="utf-8"):
            return None
        return SCRIPTS[found[0]]

    def command_of(self, test, build):
        """The command, and what its environment has besides ours. Not for a test that doesn't exist."""
        if test in self._target:
            return [build / "tests" / self._target[test], f"--gtest_filter={test}:*/{test}/*"], {}
        _, script = self._script_of(test)
        case = test.partition("/")[2]
        return [sys.executable, "-B", script, "-f", *(["-k", case] if case else [])], {
            "QUILLON_BIN": str(build / "bin"), "PYTHONPATH": str(self._tests.parent / "tools"),
            "FAULT_PRELOAD": str(build / "tests/libdisturbed_calls.so"), "QUILLON_PEERS": os.devnull}
