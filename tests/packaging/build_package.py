"""Makes the package for the other tests, and checks it with lintian."""

import os
import shutil
import subprocess
import sys

from machine import package, package_obstacle, root_folder, skip_if


def main():
    skip_if(package_obstacle())
    folder = os.environ["QUILLON_PACKAGES"]
    shutil.rmtree(folder, ignore_errors=True)
    # What the programs depend on is looked up where the package will be installed, not in this system's own records.
    records = os.path.join(root_folder(), "var/lib/dpkg")
    subprocess.run([os.environ["QUILLON_CPACK"], "--config", os.path.join(os.environ["QUILLON_BUILD"], "CPackConfig.cmake"),
                    "-G", "DEB", "-B", folder], check=True, stdout=subprocess.DEVNULL,
                   env={**os.environ, "DPKG_ADMINDIR": records})
    if shutil.which("lintian") is None:
        print("lintian is not installed: the package was built, but not looked at")
        return 0
    said = subprocess.run(["lintian", "--allow-root", "--tag-display-limit", "0", package()], check=False, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT).stdout
    print(said)
    return 1 if any(line.startswith(("E:", "W:")) for line in said.splitlines()) else 0


if __name__ == "__main__":
    sys.exit(main())
