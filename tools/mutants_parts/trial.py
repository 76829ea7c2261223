"""Tries the faults one after the other."""

import itertools
import os
import signal
import subprocess
import time

from suite import Suite

LEAST_SECONDS = 60  # that each test gets
PATIENCE = 4        # times of what it took without a fault
SKIPPED = 77


def run_test(test, suite, build, seconds, log):
    """'passed', 'failed', 'skipped' or 'hung'."""
    command, environment = suite.command_of(test, build)
    with open(log, "wb") as output:
        with subprocess.Popen(command, cwd=build, env={**os.environ, **environment}, stdin=subprocess.DEVNULL, stdout=output,
                              stderr=subprocess.STDOUT, start_new_session=True) as process:
            try:
                code = process.wait(seconds)
            except subprocess.TimeoutExpired:
                return "hung"
            finally:
                try:
                    os.killpg(process.pid, signal.SIGKILL)  # and what a test has left
                except ProcessLookupError:
                    pass
    text = log.read_bytes()
    if code == SKIPPED or any(sign in text for sign in (b"[  SKIPPED ]", b"Running 0 tests", b"Ran 0 tests")):
        return "skipped"
    return "passed" if code == 0 else "failed"


class Trial:
    def __init__(self, suite, scratch):
        self._suite = suite
        self._scratch = scratch
        self._seconds = {}  # that each test may take
        self._log = scratch.folder / "test.log"

    def _run(self, test, seconds):
        return run_test(test, self._suite, self._scratch.build_folder, seconds, self._log)

    def _targets(self, tests):
        return {target for test in tests for target in self._suite.targets_of(test)}

    def pass_without_fault(self, tests):
        """Whether the tests pass, each by itself; prints those that don't."""
        if not self._scratch.build(self._targets(tests)):
            print(f"The tree doesn't build: see {self._scratch.folder}/build.log")
            return False
        good = True
        for test in tests:
            begun = time.monotonic()
            outcome = self._run(test, 5 * LEAST_SECONDS)
            self._seconds[test] = max(LEAST_SECONDS, PATIENCE * (time.monotonic() - begun))
            if outcome != "passed":
                print(f"Without any fault {test} has {outcome}:\n{self._log.read_text(errors='replace')[-3000:]}")
                good = False
        return good

    def verdict(self, fault):
        """(whether it is caught, the verdict in words)."""
        with self._scratch.with_fault(fault):
            if not self._scratch.build(self._targets(fault.tests)):
                return (True, "caught by the compiler") if "unbuildable" in fault.flags else (False, "does not build")
            for test in fault.tests:
                outcome = self._run(test, self._seconds[test])
                if outcome == "failed" or (outcome == "hung" and "hangs" in fault.flags):
                    return True, f"caught by {test}"
                if outcome == "hung":
                    return False, f"HANGS in {test}"
        return False, "SURVIVED"


def run_all(faults, scratch):
    """Table by table: the tests without a fault, then a line for each fault. Returns the exit status."""
    scratch.tree.mkdir(parents=True, exist_ok=True)
    scratch.update()
    suite = Suite(scratch.tree)
    trial = Trial(suite, scratch)
    missed = 0
    for _, group in itertools.groupby(faults, lambda fault: fault.table):
        fitting = []
        for fault in group:
            complaint = next(fault.complaints(scratch.tree, suite), None)
            if complaint is None:
                fitting.append(fault)
            else:
                missed += 1
                print(f"{complaint}: {fault.name}", flush=True)
        if not trial.pass_without_fault(sorted({test for fault in fitting for test in fault.tests})):
            missed += len(fitting)
            continue
        for fault in fitting:
            caught, words = trial.verdict(fault)
            missed += not caught
            print(f"{words}: {fault.name}", flush=True)
    print(f"{len(faults) - missed} of {len(faults)} faults are caught.")
    return 1 if missed else 0
