#include "platform/linux/system/guarded_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

bool IsTrusted(uid_t user) {
    return user == 0 || user == geteuid();
}

// Whoever can write in a folder can put another file under any name in it.
bool IsOnlyOurs(const struct stat& folder) {
    return IsTrusted(folder.st_uid) && (folder.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool IsAcceptable(const struct stat& file, const struct stat& folder) {
    if (!S_ISREG(file.st_mode)) return S_ISCHR(file.st_mode) || S_ISDIR(file.st_mode);
    return (IsTrusted(file.st_uid) || file.st_uid == folder.st_uid) && file.st_nlink <= 1;
}

Descriptor Refuse() {
    errno = EACCES;
    return {};
}

}  // namespace

Descriptor OpenToWrite(const std::string& path, int flags, mode_t mode) {
    const std::size_t slash = path.rfind('/');
    const std::string parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int all = flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    struct stat folder {};
    if (stat(parent.c_str(), &folder) != 0) return {};
    if (IsOnlyOurs(folder)) return Descriptor(open(path.c_str(), all, mode));

    Descriptor opened(open(path.c_str(), all | O_NOFOLLOW, mode));
    if (!opened) return errno == ELOOP ? Refuse() : Descriptor();
    struct stat file {};
    if (fstat(opened.Get(), &file) != 0) return {};
    return IsAcceptable(file, folder) ? std::move(opened) : Refuse();
}
