"""Makes the files of the machines on which the package is tested: a small Debian of its own, fetched as apt fetches here.

It stays in the build folder. The next run makes it anew when it would become a different one: after another list of
packages, or after `apt-get update` brought news.
"""

import os
import shutil
import subprocess
import sys

from machine import TOOL_PATH, missing_tool, root_folder, skip_if

LIMIT_SECONDS = 420

# What the package depends on, and what the tests and the guide use in a machine.
PACKAGES = ["libace-7.0.8", "libmnl0", "libsystemd0", "apt", "systemd", "python3-minimal", "libpython3-stdlib", "iproute2",
            "nftables", "udhcpc", "dnsmasq-base"]

# How apt reaches the registry.
ACQUIRE = ["Acquire::http", "Acquire::https", "Acquire::Check-Valid-Until", "Acquire::Check-Date"]


def lines_of(*command):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE).stdout.splitlines()


def debian_lists():
    """The files of Debian's package lists that apt has here, and their lines for sources.list. We need no other registry."""
    return [row.split(" ", 1) for row in
            lines_of("apt-get", "indextargets", "--format", "$(FILENAME) deb $(REPO_URI) $(RELEASE) $(COMPONENT)",
                     "Origin: Debian", "Identifier: Packages")]


def make(folder, sources, options):
    # Namespaces of its own: whatever becomes of it, no mount of its stays on this system.
    command = ["setpriv", "--pdeathsig", "KILL", "unshare", "--mount", "--pid", "--fork", "--kill-child",
               "mmdebstrap", "--mode=root", "--format=directory", "--variant=essential", f"--include={','.join(PACKAGES)}",
               *(f"--aptopt={option}" for option in options),
               *lines_of("sh", "-c", ". /etc/os-release; echo $VERSION_CODENAME"), folder, "-"]
    proxies = {name: value for name, value in os.environ.items() if name.lower().endswith("_proxy")}
    subprocess.run(command, check=True, env={"PATH": TOOL_PATH, "LC_ALL": "C.UTF-8", **proxies}, text=True,
                   input="\n".join(sources) + "\n", timeout=LIMIT_SECONDS)


def main():
    skip_if("a Debian of its own needs root" if os.geteuid() != 0 else missing_tool("mmdebstrap", "apt-get", "unshare", "setpriv"))
    lists = debian_lists()
    if not lists:
        sys.exit("apt has no lists of Debian's packages here; apt-get update fetches them")
    options = ['Acquire::Languages "none"', 'Acquire::http::Timeout "30"', 'Acquire::Retries "2"',
               *lines_of("apt-config", "dump", "--format", '%F "%v"%n', *ACQUIRE)]
    sources = [line for _, line in lists]
    recipe = repr((PACKAGES, sources, options, [os.stat(name).st_mtime for name, _ in lists]))

    folder = root_folder()
    mark = folder + ".made-of"
    if os.path.exists(mark):
        with open(mark, encoding="utf-8") as file:
            if file.read() == recipe:
                return
        os.remove(mark)
    shutil.rmtree(folder, ignore_errors=True)
    make(folder, sources, options)
    with open(mark, "w", encoding="utf-8") as file:
        file.write(recipe)


if __name__ == "__main__":
    main()
