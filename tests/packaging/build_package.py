"""Makes the package for the other tests, and lets lintian look at it."""

import os
import shutil
import subprocess
import sys

from machine import obstacle, package, skip_if


def main():
    skip_if(obstacle())
    folder = os.environ["QUILLON_PACKAGES"]
    shutil.rmtree(folder, ignore_errors=True)
    subprocess.run([os.environ["QUILLON_CPACK"], "--config", os.path.join(os.environ["QUILLON_BUILD"], "CPackConfig.cmake"),
                    "-G", "DEB", "-B", folder], check=True, stdout=subprocess.DEVNULL)
    if shutil.which("lintian") is None:
        print("lintian is not installed: the package was built, but not looked at")
        return 0
    said = subprocess.run(["lintian", "--allow-root", "--tag-display-limit", "0", package()], check=False, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT).stdout
    print(said)
    return 1 if any(line.startswith(("E:", "W:")) for line in said.splitlines()) else 0


if __name__ == "__main__":
    sys.exit(main())
