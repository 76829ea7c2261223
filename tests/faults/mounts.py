"""A small disk that only this process and those it starts see."""

import ctypes
import os
import tempfile

_CLONE_NEWNS = 0x20000
_MS_REC, _MS_PRIVATE, _MNT_DETACH = 0x4000, 0x40000, 2
_libc = ctypes.CDLL(None, use_errno=True)


def _checked(result, what):
    if result != 0:
        raise OSError(ctypes.get_errno(), what)


def small_disk(case, size):
    """The path of an empty disk of so many bytes, which goes with the test."""
    _checked(_libc.unshare(_CLONE_NEWNS), "a mount namespace")
    _checked(_libc.mount(None, b"/", None, _MS_REC | _MS_PRIVATE, None), "private mounts")
    folder = tempfile.mkdtemp(prefix="quillon-disk-")
    case.addCleanup(os.rmdir, folder)
    _checked(_libc.mount(b"quillon", folder.encode(), b"tmpfs", 0, f"size={size}".encode()), "a small disk")
    case.addCleanup(_libc.umount2, folder.encode(), _MNT_DETACH)
    return folder
