"""What a request costs step by step: instructions in user space, counted by callgrind."""

import os
import re
import shutil
import subprocess
import tempfile

import cases

LOAD = ["--kind", "discover", "--outstanding", "64", "--clients", "1000", "--warm-up", "0", "--measured", "3000",
        "--patience", "20000"]
SHOWN = 25  # instructions a reply below which a step isn't listed
SECONDS = 120

# The functions whose callees are listed, each below the one that calls it.
OPENED = ("DaemonThread", "RunDaemonLoop", "ProcessBootRequest", "FindClient", "AnswerFromEntry", "DeliverReply")

_LINE = re.compile(r"^\s*([\d,]+) \([^)]*\)\s+([<*>])\s+(.*)$")


def _plain(text):
    """The bare name in what callgrind_annotate says about a function: its file, its arguments and its calls go."""
    text = re.sub(r"^(\?\?\?|\S+\.\w+):", "", text).replace("(anonymous namespace)::", "")
    return re.split(r"[(@]", text, maxsplit=1)[0].strip()


def _blocks(text):
    """Each function as name to its inclusive cost and a list of its callees, with their costs below it."""
    found, callees = {}, []
    for parts in filter(None, map(_LINE.match, text.splitlines())):
        cost, mark, name = int(parts[1].replace(",", "")), parts[2], _plain(parts[3])
        if mark == "*":
            callees = []
            found.setdefault(name, (cost, callees))
        elif mark == ">":
            callees.append((name, cost))
    return found


def _list(blocks, name, replies, depth, steps):
    cost, callees = blocks[name]
    rest = cost
    for callee, callee_cost in sorted(callees, key=lambda entry: -entry[1]):
        rest -= callee_cost
        if callee_cost / replies < SHOWN:
            continue
        steps.append({"step": "&nbsp;&nbsp;" * depth + f"`{callee}`", "instructions": callee_cost / replies})
        if callee in OPENED and callee in blocks:
            _list(blocks, callee, replies, depth + 1, steps)
    steps.append({"step": "&nbsp;&nbsp;" * depth + "(its own, and what is inlined)", "instructions": rest / replies})


def _steps(text, replies):
    blocks = _blocks(text)
    if OPENED[0] not in blocks:
        raise RuntimeError(f"the profile has no function {OPENED[0]}")
    steps = [{"step": f"`{OPENED[0]}`, all of it", "instructions": blocks[OPENED[0]][0] / replies}]
    _list(blocks, OPENED[0], replies, 1, steps)
    return steps


def measure(scene):
    for tool in ("valgrind", "callgrind_annotate", "callgrind_control"):
        if shutil.which(tool) is None:
            raise SystemExit(f"The command {tool} is missing; it comes with valgrind.")
    with tempfile.TemporaryDirectory(prefix="quillon-profile-") as folder:
        profile = os.path.join(folder, "profile")
        tool = ["valgrind", "-q", "--tool=callgrind", f"--callgrind-out-file={profile}", "--instr-atstart=no"]
        with scene.service(cases.CASES[0].clients, prefix=tool) as service:
            subprocess.run(["callgrind_control", "-i", "on", str(service.process.pid)], check=True,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=SECONDS)
            replies = scene.load(service.process, *LOAD)["replies"]
        annotate = ["callgrind_annotate", "--tree=calling", "--inclusive=yes", "--threshold=100", "--auto=no", profile]
        text = subprocess.run(annotate, check=True, text=True, stdout=subprocess.PIPE, timeout=SECONDS).stdout
    return _steps(text, replies)
