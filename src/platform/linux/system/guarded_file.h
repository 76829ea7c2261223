// Files that this process writes, where other local users may have put something else. Within the layer only.
#pragma once

#include <sys/types.h>

#include <string>

#include "platform/linux/system/descriptor.h"

// open() with O_CLOEXEC, O_NOCTTY and O_NONBLOCK. In a folder that only this user and root can write it is no
// more than that. In any other folder a symbolic link isn't followed, and a file is refused that isn't of
// this user, of root or of the folder's owner, or that has another name elsewhere. On failure errno: EACCES
// for what is refused.
Descriptor OpenToWrite(const std::string& path, int flags, mode_t mode);
