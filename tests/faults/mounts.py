"""A small disk that only this process and those it starts see."""

import os
import tempfile

from harness.network import checked, libc

_CLONE_NEWNS = 0x20000
_MS_REC, _MS_PRIVATE, _MNT_DETACH = 0x4000, 0x40000, 2


def small_disk(case, size):
    """The path of an empty disk of so many bytes, which goes with the test."""
    checked(libc.unshare(_CLONE_NEWNS))
    checked(libc.mount(None, b"/", None, _MS_REC | _MS_PRIVATE, None))
    folder = tempfile.mkdtemp(prefix="quillon-disk-")
    case.addCleanup(os.rmdir, folder)
    checked(libc.mount(b"quillon", folder.encode(), b"tmpfs", 0, f"size={size}".encode()))
    case.addCleanup(libc.umount2, folder.encode(), _MNT_DETACH)
    return folder
