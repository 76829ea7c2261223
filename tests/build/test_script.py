"""tools/test passes only if something has run: its real parts and the labels behind them. Argument: the top folder."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

TOP = pathlib.Path(sys.argv.pop(1))
NO_PACKAGES = "BUILD_PACKAGES=() TEST_PACKAGES=(); install_missing() { echo installs \"$@\"; }; fetch_missing_lists() { :; }; unpack_peers() { :; }"

# Real parts, the tests of the build with their labels and exit codes, the argument; the exit code, a line of the output.
CASES = [
    ([], {}, "real", 0, "There are no parts yet."),
    (["a: big -- true"], {}, "real", 0, "installs big"),
    (["a: -- true", "b: -- false"], {}, "real", 1, "real, b: FAILED after 0 s"),
    (["a: -- sh skip", "b: -- true"], {}, "real", 0, "real, a: SKIPPED, see above"),
    (["a: -- sh skip"], {}, "real", 1, "Nothing has run."),
    (["a: -- run_label x"], {"real;x": 0}, "real", 0, "real, a: passed after 0 s"),
    (["a: -- run_label x"], {"real;x": 77}, "real", 1, "Nothing has run."),
    (["a: -- run_label x"], {"real;x": 1}, "real", 1, "real, a: FAILED after 0 s"),
    (["a: -- run_label x"], {"real;y": 0}, "real", 1, "real, a: FAILED after 0 s"),
    (["a: -- run_label x"], {"real;x": 1, "y": 0}, "release", 0, "100% tests passed, 0 tests failed out of 1"),
    ([], {"real;x": 1, "system": 1, "y": 0}, "quick", 0, "100% tests passed, 0 tests failed out of 1"),
    (["a: -- run_label x"], {"real;y": 0, "y": 0}, "release", 1, "release: FAILED after 0 s"),
    ([], {}, "release", 1, "release: FAILED after 0 s"),
]


def run(top, parts, tests, argument):
    for folder in ("tools", "build/release", "bin"):
        (top / folder).mkdir(parents=True)
    for name in ("tools/test", "tools/build.sh", "CMakePresets.json"):
        shutil.copy(TOP / name, top / name)
    (top / "tools/packages.sh").write_text(NO_PACKAGES)
    (top / "tools/real_parts.sh").write_text(f"REAL_PARTS=({' '.join(repr(part) for part in parts)})")
    (top / "skip").write_text("exit 77")
    (top / "bin/cmake").symlink_to("/bin/true")
    (top / "build/release/CTestTestfile.cmake").write_text("".join(
        f'add_test("{labels}" sh -c "exit {code}")\n'
        f'set_tests_properties("{labels}" PROPERTIES LABELS "{labels}" SKIP_RETURN_CODE 77)\n' for labels, code in tests.items()))
    return subprocess.run([top / "tools/test", argument], check=False, text=True, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          env={**os.environ, "PATH": f"{top}/bin:{os.environ['PATH']}"})


class TestScript(unittest.TestCase):
    def test_passes_only_if_something_has_run(self):
        for parts, tests, argument, code, line in CASES:
            with self.subTest(parts=parts, tests=tests, argument=argument), tempfile.TemporaryDirectory() as folder:
                result = run(pathlib.Path(folder), parts, tests, argument)
                self.assertEqual(result.returncode, code, result.stdout)
                self.assertIn(line.rsplit(" after")[0], result.stdout)


if __name__ == "__main__":
    unittest.main()
