"""Every function and every file that docs/architecture.md names exists.

Argument: the project's root. A code span counts as a file if it ends like one or in a slash, else as a name in the code.
"""

import pathlib
import re
import sys

ROOTS = ["", "src", "src/platform", "src/request"]
SPAN = re.compile(r"`([^`\n]+)`")
FILE = re.compile(r"[\w./-]+(\.(h|cpp|mc|py|cmake|txt|md|5)|/)")
NAME = re.compile(r"[A-Za-z_]\w*(::\w+)*")


def words_of_the_code(root):
    words = set()
    for folder in ["src", "tools"]:
        for path in (root / folder).rglob("*"):
            if path.suffix in {".h", ".cpp"}:
                words.update(re.findall(r"\w+", path.read_text(encoding="utf-8")))
    return words


def missing(root):
    text = re.sub(r"^    .*$", "", (root / "docs/architecture.md").read_text(encoding="utf-8"), flags=re.MULTILINE)
    spans = set(SPAN.findall(text))
    words = words_of_the_code(root)
    names = 0
    for span in sorted(spans):
        if FILE.fullmatch(span):
            if not any((root / folder / span).exists() for folder in ROOTS):
                yield f"no file {span}"
        elif NAME.fullmatch(span) and not span.islower():
            names += 1
            if not all(word in words for word in span.split("::")):
                yield f"no name {span} in the code"
    if names < 50:
        yield f"only {names} names found: is this the page?"


if __name__ == "__main__":
    found = list(missing(pathlib.Path(sys.argv[1])))
    print("\n".join(found) or "every name stands for something")
    sys.exit(1 if found else 0)
