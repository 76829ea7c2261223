"""The copy of the tree that the faults are put into, and its build."""

import contextlib
import os
import shutil
import subprocess

JOBS = "2"


def copy_if_other(source, target):
    """Leaves the times of a file alone that is the same, so that nothing is built for it."""
    if target.is_file() and target.read_bytes() == source.read_bytes():
        return
    target.parent.mkdir(parents=True, exist_ok=True)
    shutil.copy(source, target)


class Scratch:
    def __init__(self, top):
        self._top = top
        self.folder = top / "build/mutants"
        self.tree = self.folder / "tree"
        self.build_folder = self.tree / "build/release"

    def update(self):
        """Brings the copy to the tree's state, with what isn't committed."""
        listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=self._top, check=True,
                                stdout=subprocess.PIPE, text=True).stdout.split("\0")
        names = {name for name in listed if name and (self._top / name).is_file()}
        for name in names:
            copy_if_other(self._top / name, self.tree / name)
        for path in self.tree.rglob("*"):
            name = str(path.relative_to(self.tree))
            if path.is_file() and name not in names and not name.startswith("build/"):
                path.unlink()
        self._run("configure", 'use_ccache; cmake --preset release -DQUILLON_BUILD_BENCH=OFF')

    def build(self, targets):
        """Whether it builds; what the compiler said is in build.log."""
        return self._run("build", f"use_ccache; ninja -C build/release -j{JOBS} {' '.join(sorted(targets))}")

    def _run(self, log, command):
        with open(self.folder / f"{log}.log", "wb") as output:
            return subprocess.run(["bash", "-c", f". tools/build.sh; {command}"], cwd=self.tree, check=False, stdout=output,
                                  stderr=subprocess.STDOUT, env={**os.environ, "LC_ALL": "C"}).returncode == 0

    @contextlib.contextmanager
    def with_fault(self, fault):
        paths = {hunk.file: self.tree / hunk.file for hunk in fault.hunks}
        former = {name: path.read_text(encoding="utf-8") for name, path in paths.items()}
        try:
            for hunk in fault.hunks:
                path = paths[hunk.file]
                path.write_text(hunk.applied_to(path.read_text(encoding="utf-8")), encoding="utf-8")
            yield
        finally:
            for name, text in former.items():
                paths[name].write_text(text, encoding="utf-8")
