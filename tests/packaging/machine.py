"""A Debian machine for one test: the files that debian_root.py made, with every change going to memory, in namespaces of its own.

Its network has nothing but its loopback interface and what a test adds. It ends with the test, whatever is left running
in it, and leaves nothing behind.
"""

import contextlib
import glob
import os
import shutil
import subprocess
import sys
import tempfile
import time

SKIPPED = 77  # ctest shows this exit code as skipped
TOOL_PATH = "/usr/sbin:/usr/bin:/sbin:/bin"

BOOT_SECONDS = 60
COMMAND_SECONDS = 120

# Where this system has the control groups of which a machine gets one of its own, with all that is below.
_CONTROL_GROUPS = ("/sys/fs/cgroup", "/sys/fs/cgroup/unified")

# In its control group, before it has a view of its own of them. $1 is the group, what follows is the command.
_ENTER = '[ -z "$1" ] || echo 0 >"$1/cgroup.procs"; shift; exec "$@"'

# As root of namespaces of its own. $1 is an empty folder, $2 the machine's files, $3 its control group or nothing; what
# follows is the first process. Only the one tree of control groups is there: the first process would make groups of its
# own in any other.
_BOOT = r"""
set -e
base=$1 files=$2 group=$3; shift 3
mount -t tmpfs tmpfs "$base"
mkdir "$base/upper" "$base/work" "$base/root"
mount -t overlay overlay -o "lowerdir=$files,upperdir=$base/upper,workdir=$base/work" "$base/root"
cd "$base/root"
mount -t proc proc proc
mount -t sysfs -o ro sysfs sys
for folder in tmp run dev root; do mount -t tmpfs tmpfs $folder; done
mkdir dev/pts dev/shm
mount -t devpts devpts dev/pts -o newinstance,ptmxmode=0666
ln -s pts/ptmx dev/ptmx
for device in null zero full random urandom tty; do
    touch dev/$device
    mount --bind /dev/$device dev/$device
done
[ -z "$group" ] || mount -t cgroup2 cgroup2 sys/fs/cgroup
# What isn't the machine's own is the kernel's.
mount --bind proc/sys proc/sys
mount -o remount,bind,ro proc/sys
ip link set lo up
touch run/own-machine
exec env -i container=docker PATH=/usr/sbin:/usr/bin:/sbin:/bin chroot . "$@"
"""

_INIT = ["/lib/systemd/systemd", "--unit=basic.target", "--show-status=0", "--log-target=journal"]


def _control_groups():
    for tree in _CONTROL_GROUPS:
        if all(os.path.exists(os.path.join(tree, name)) for name in ("cgroup.procs", "cgroup.controllers")):
            return tree
    raise OSError("there are no control groups of version 2")


class _Place:
    """Where a machine stands: an empty folder, and a control group of its own if it needs one."""

    def __init__(self, with_group):
        self.group = tempfile.mkdtemp(prefix="quillon-machine-", dir=_control_groups()) if with_group else ""
        self.base = tempfile.mkdtemp(prefix="quillon-machine-")

    def command(self, init):
        return ["setpriv", "--pdeathsig", "KILL", "sh", "-euc", _ENTER, "sh", self.group,
                "unshare", "--mount", "--net", "--pid", "--fork", "--ipc", "--uts", "--cgroup", "--kill-child",
                "sh", "-c", _BOOT, "sh", self.base, root_folder(), self.group, *init]

    def remove(self):
        # Both are free with the machine's last process, which may take a moment.
        deadline = time.monotonic() + 10
        for top in (self.base, self.group):
            while os.path.isdir(top) and time.monotonic() < deadline:
                with contextlib.suppress(OSError):
                    for folder, _, _ in os.walk(top, topdown=False):
                        os.rmdir(folder)
                time.sleep(0.05)


class Machine:
    """`manager`: whether systemd runs in it."""

    def __init__(self, manager=True):
        self._place = _Place(with_group=manager)
        self._output = tempfile.TemporaryFile()
        self._outer = subprocess.Popen(self._place.command(_INIT if manager else ["sleep", "infinity"]),
                                       stdin=subprocess.DEVNULL, stdout=self._output, stderr=subprocess.STDOUT)
        try:
            self._await_boot("systemctl is-system-running | grep -qE 'running|degraded'" if manager else "true")
        except BaseException:
            self.close()
            raise

    def close(self):
        self._outer.kill()
        self._outer.wait()
        self._output.close()
        self._place.remove()

    def _await_boot(self, probe):
        deadline = time.monotonic() + BOOT_SECONDS
        while time.monotonic() < deadline and self._outer.poll() is None:
            # Until its files are in place, the first process still has those of this system.
            if self._first_process() and self.run(f"test -e /run/own-machine && {probe}", check=False)[0] == 0:
                return
            time.sleep(0.2)
        self._output.seek(0)
        raise OSError(f"no machine within {BOOT_SECONDS} s: {self._output.read().decode('utf-8', 'replace').strip()}")

    def _first_process(self):
        with contextlib.suppress(FileNotFoundError):
            with open(f"/proc/{self._outer.pid}/task/{self._outer.pid}/children", encoding="ascii") as file:
                return file.read().strip()
        return ""

    def _enter(self, *namespaces):
        return ["nsenter", "--target", self._first_process(), "--mount", "--pid", "--root", "--wd", *namespaces]

    def run(self, script, check=True, namespace=None):
        """Runs a shell script; returns its exit status and its output. `namespace`: a network namespace made with ip."""
        command = self._enter("--uts", "--ipc", "--net", "env", "-i", f"PATH={TOOL_PATH}", "HOME=/root", "LC_ALL=C.UTF-8",
                              "DEBIAN_FRONTEND=noninteractive", *(["ip", "netns", "exec", namespace] if namespace else []))
        result = subprocess.run([*command, "sh", "-euc", f"cd /root\n{script}"], check=False, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=COMMAND_SECONDS)
        output = result.stdout.decode("utf-8", "replace")
        if check and result.returncode != 0:
            raise AssertionError(f"exit status {result.returncode} of\n{script}\n{output}")
        return result.returncode, output

    def put(self, path, name):
        """A copy of a file, under a name in /root."""
        with open(path, "rb") as file:
            subprocess.run(self._enter("dd", f"of=/root/{name}", "status=none"), check=True, stdin=file)


def root_folder():
    """The machines' files."""
    return os.environ["QUILLON_ROOT"]


def package():
    """The package that the build made."""
    found = glob.glob(os.path.join(os.environ["QUILLON_PACKAGES"], "quillon_*.deb"))
    if len(found) != 1:
        sys.exit(f"QUILLON_PACKAGES has to name a folder with one package: {found}")
    return found[0]


def missing_tool(*tools):
    """Why something can't be had that needs these commands; None if they are all here."""
    return next((f"the command {tool} is not installed" for tool in tools if shutil.which(tool, path=TOOL_PATH) is None), None)


def obstacle(manager=True):
    """Why there can be no machine here, or none with systemd; None if there can.

    What can't be had is seen before systemd starts. From there on it has to work.
    """
    if os.geteuid() != 0:
        return "a machine of its own needs root"
    reason = package_obstacle() or missing_tool("unshare", "nsenter", "setpriv", "ip")
    if reason is not None:
        return reason
    try:
        place = _Place(with_group=manager)
    except OSError as error:
        return f"this system gives no machine: {error}"
    try:
        tried = subprocess.run(place.command(["true"]), check=False, text=True, stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=COMMAND_SECONDS)
    finally:
        place.remove()
    return None if tried.returncode == 0 else f"this system gives no machine: {tried.stdout.strip()}"


def package_obstacle():
    """Why there is no package to look at."""
    if os.environ["QUILLON_PREFIX"] != "/usr":
        return "this build is not for the prefix /usr (tools/package makes one that is)"
    if not os.path.exists(root_folder() + ".made-of"):
        return "there is no Debian to install it in, see packaging.debian_root"
    return missing_tool("dpkg", "dpkg-shlibdeps")


def skip_if(reason):
    if reason is not None:
        print(f"SKIPPED: {reason}")
        sys.exit(SKIPPED)
