// Replaces a file as a whole, and keeps its writers apart. Within the layer only.
#pragma once

#include <string>
#include <string_view>

#include "platform/linux/system/descriptor.h"

// Makes `path` a file with these bytes, on disk when it returns: a crash at any moment leaves the old or the
// new one. The new file gets the owner and the mode of the old one, and 0644 if there is none. A link is
// followed. One caller at a time for a path. Returns 0 or an errno.
int ReplaceFile(const std::string& path, std::string_view bytes);

// Takes the lock of `path`'s writers, a file beside it that no other user can open; it is released with the
// descriptor, at the latest by the end of the process. Makes missing folders. On failure no descriptor and
// `error` set; ETIMEDOUT after five seconds.
Descriptor LockForWriting(const std::string& path, int& error);
