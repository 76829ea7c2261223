"""Compiles for Windows, as far as the syntax goes, what is written once for both targets.

Arguments: the folder of the sources, that of the generated headers, and one with the headers of libraries. A choice of the
platform by #ifdef in these sources is a fault as well: the build makes it, by whole files.
"""

import concurrent.futures
import pathlib
import re
import shutil
import subprocess
import sys

SKIPPED = 77
JOBS = 2
COMPILER = "x86_64-w64-mingw32-g++-posix"
OPTIONS = ["-std=c++20", "-fsyntax-only", "-Wall", "-Wextra", "-Werror"]

WINDOWS_HALVES = ["arrivals.cpp", "event_copy.cpp", "held_ini_file.cpp", "prefetch.cpp", "receive_drops.cpp",
                  "service_report.cpp"]
LOGIC = ["arp", "database", "database/load", "database/lookup", "diagnostics", "request", "service", "service/host"]
LIBRARY = "class_a/standard"
LIBRARY_PARTS = [".", "detail", "windows"]
# They stand on ACE, whose headers are configured for this machine.
NEED_ACE = {"CNRMutex.cpp", "directory_listing.cpp", "mutex_type.cpp", "ownership_block.cpp"}

PLATFORM_CHOICE = re.compile(
    r"^[ \t]*#[ \t]*(?:if|ifdef|ifndef|elif)\b.*(?:_WIN32|_WIN64|\bWIN32|_MSC_VER|__MINGW|__linux|__unix|_POSIX|__APPLE__)",
    re.MULTILINE)


def sources(root):
    """The files to compile, each with the include folders of its own."""
    yield root / "main.cpp", []
    for name in WINDOWS_HALVES:
        yield root / "platform/windows" / name, []
    for folder in LOGIC:
        yield from ((path, []) for path in sorted((root / folder).glob("*.cpp")))
    library = [path for folder in LIBRARY_PARTS for path in sorted((root / LIBRARY / folder).glob("*.cpp"))]
    missing = NEED_ACE - {path.name for path in library}
    if missing:
        sys.exit(f"no longer there, so no longer to be left out: {', '.join(sorted(missing))}")
    yield from ((path, [root / LIBRARY / "windows"]) for path in library if path.name not in NEED_ACE)


def platform_choices(root):
    for folder in [".", *LOGIC, *(f"{LIBRARY}/{part}" for part in LIBRARY_PARTS)]:
        for path in sorted((root / folder).glob("*.[hc]*")):
            if path.is_file() and PLATFORM_CHOICE.search(path.read_text(encoding="utf-8")):
                yield path


def compile_one(source, folders, libraries):
    command = [COMPILER, *OPTIONS, *(f"-I{folder}" for folder in folders), "-isystem", str(libraries), str(source)]
    return source, subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)


def main(root, generated, libraries):
    if shutil.which(COMPILER) is None:
        print(f"SKIPPED: the compiler {COMPILER} is not installed")
        return SKIPPED
    failures = [f"{path}: chooses the platform by #ifdef" for path in platform_choices(root)]
    count = 0
    with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
        runs = [pool.submit(compile_one, source, [root, generated, *own], libraries) for source, own in sources(root)]
        for source, result in (run.result() for run in runs):
            count += 1
            if result.returncode != 0:
                failures.append(f"{source}:\n{result.stdout}")
    print("\n".join(failures) or f"{count} files compile for Windows")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(*map(pathlib.Path, sys.argv[1:4])))
