"""A Debian machine for one test: this system's own files, with every change going to memory, in namespaces of its own.

Its network has nothing but its loopback interface and what a test adds. It ends with the test, whatever is left running
in it, and leaves nothing behind.
"""

import glob
import os
import shutil
import subprocess
import sys
import tempfile
import time

SKIPPED = 77  # ctest shows this exit code as skipped

PROGRAM = "quillon"
BOOT_SECONDS = 60
COMMAND_SECONDS = 120

# Where this system has the control groups of which a machine gets one of its own, with all that is below.
_CONTROL_GROUPS = ("/sys/fs/cgroup", "/sys/fs/cgroup/unified")

# In its control group, before it has a view of its own of them. $1 is the group, what follows is the command.
_ENTER = 'echo 0 >"$1/cgroup.procs"; shift; exec "$@"'

# As root of namespaces of its own. $1 is an empty folder, what follows is the first process. Only the one tree of control
# groups is there: the first process would make groups of its own in any other.
_BOOT = r"""
set -e
base=$1; shift
mount -t tmpfs tmpfs "$base"
mkdir "$base/upper" "$base/work" "$base/root"
mount -t overlay overlay -o "lowerdir=/,upperdir=$base/upper,workdir=$base/work" "$base/root"
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
mount -t cgroup2 cgroup2 sys/fs/cgroup
# Images of containers keep packages from starting services.
rm -f usr/sbin/policy-rc.d
# What isn't the machine's own is the kernel's.
mount --bind proc/sys proc/sys
mount -o remount,bind,ro proc/sys
ip link set lo up
touch run/own-machine
exec env -i container=docker PATH=/usr/sbin:/usr/bin:/sbin:/bin chroot . "$@"
"""

_INIT = ["/lib/systemd/systemd", "--unit=basic.target", "--show-status=0", "--log-target=journal"]


def _make_control_group():
    for tree in _CONTROL_GROUPS:
        if os.path.exists(os.path.join(tree, "cgroup.procs")) and os.path.exists(os.path.join(tree, "cgroup.controllers")):
            return tempfile.mkdtemp(prefix="quillon-machine-", dir=tree)
    raise OSError("there are no control groups of version 2")


def _remove_groups(top):
    for folder, _, _ in os.walk(top, topdown=False):
        os.rmdir(folder)


class Machine:
    """`manager`: whether systemd runs in it."""

    def __init__(self, manager=True):
        self._group = _make_control_group()
        self._base = tempfile.mkdtemp(prefix="quillon-machine-")
        init = _INIT if manager else ["sleep", "infinity"]
        self._output = tempfile.TemporaryFile()
        self._outer = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "sh", "-euc", _ENTER, "sh", self._group,
             "unshare", "--mount", "--net", "--pid", "--fork", "--ipc", "--uts", "--cgroup", "--kill-child",
             "sh", "-c", _BOOT, "sh", self._base, *init],
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
        # Its files and its group are free with its last process, which may take a moment.
        deadline = time.monotonic() + 10
        for remove, folder in ((os.rmdir, self._base), (_remove_groups, self._group)):
            while os.path.isdir(folder) and time.monotonic() < deadline:
                try:
                    remove(folder)
                except OSError:
                    time.sleep(0.05)

    def _await_boot(self, probe):
        deadline = time.monotonic() + BOOT_SECONDS
        while time.monotonic() < deadline:
            if self._outer.poll() is not None:
                break
            # Until its files are in place, the first process still has those of this system.
            if self._first_process() and self.run(f"test -e /run/own-machine && {probe}", check=False)[0] == 0:
                return
            time.sleep(0.2)
        self._output.seek(0)
        raise OSError(f"no machine within {BOOT_SECONDS} s: {self._output.read().decode('utf-8', 'replace').strip()}")

    def _first_process(self):
        try:
            with open(f"/proc/{self._outer.pid}/task/{self._outer.pid}/children", encoding="ascii") as file:
                return file.read().strip()
        except FileNotFoundError:
            return ""

    def run(self, script, check=True, namespace=None):
        """Runs a shell script; answers its exit status and its output. `namespace`: a network namespace made with ip."""
        command = ["nsenter", "--target", self._first_process(), "--mount", "--uts", "--ipc", "--net", "--pid", "--root",
                   "--wd", "env", "-i", "PATH=/usr/sbin:/usr/bin:/sbin:/bin", "HOME=/root", "LC_ALL=C.UTF-8",
                   "DEBIAN_FRONTEND=noninteractive"]
        if namespace is not None:
            command += ["ip", "netns", "exec", namespace]
        result = subprocess.run([*command, "sh", "-euc", f"cd /root\n{script}"], check=False, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=COMMAND_SECONDS)
        output = result.stdout.decode("utf-8", "replace")
        if check and result.returncode != 0:
            raise AssertionError(f"exit status {result.returncode} of\n{script}\n{output}")
        return result.returncode, output

    def put(self, path, name):
        """A copy of a file, under a name in /root."""
        with open(path, "rb") as file:
            command = ["nsenter", "--target", self._first_process(), "--mount", "--pid", "--root", "--wd",
                       "dd", f"of=/root/{name}", "status=none"]
            subprocess.run(command, check=True, stdin=file)


def package():
    """The package that the build made."""
    found = glob.glob(os.path.join(os.environ.get("QUILLON_PACKAGES", ""), "quillon_*.deb"))
    if len(found) != 1:
        sys.exit(f"QUILLON_PACKAGES has to name a folder with one package: {found}")
    return found[0]


def obstacle(*tools):
    """Why there can be no machine with these commands here; None if there can."""
    if os.geteuid() != 0:
        return "a machine of its own needs root"
    for tool in ("dpkg", "dpkg-shlibdeps", "unshare", "nsenter", "setpriv", "ip", *tools):
        if shutil.which(tool, path="/usr/sbin:/usr/bin:/sbin:/bin") is None:
            return f"the command {tool} is not installed"
    if subprocess.run(["dpkg-query", "-W", PROGRAM], check=False, capture_output=True).returncode == 0:
        return "the package is installed on this system"
    if os.environ.get("QUILLON_PREFIX") != "/usr":
        return "this build is not for the prefix /usr (tools/package makes one that is)"
    try:
        Machine(manager="systemctl" in tools).close()
    except OSError as error:
        return f"this system gives no machine: {error}"
    return None


def skip_if(reason):
    if reason is not None:
        print(f"SKIPPED: {reason}")
        sys.exit(SKIPPED)
