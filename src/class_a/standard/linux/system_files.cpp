#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "class_a/standard/detail/system_files.h"

namespace ksl {

char path_separator() {
    return '/';
}

std::string platform_path(const std::string& path) {
    struct stat found;
    if (path.find('\\') == std::string::npos || lstat(path.c_str(), &found) == 0) return path;
    std::string result = path;
    std::replace(result.begin(), result.end(), '\\', '/');
    return result;
}

PathKind path_kind(const std::string& path) {
    struct stat found;
    if (stat(path.c_str(), &found) != 0) return PathKind::missing;
    return S_ISDIR(found.st_mode) ? PathKind::directory : PathKind::file;
}

bool remove_file(const std::string& path) {
    return unlink(path.c_str()) == 0;
}

bool remove_directory(const std::string& path) {
    return rmdir(path.c_str()) == 0;
}

int open_for_reading(const std::string& path, std::ifstream& in) {
    // A directory opens like a file and only fails to be read.
    if (path_kind(path) == PathKind::directory) return EISDIR;
    errno = 0;
    in.open(path);
    return in.is_open() ? 0 : errno;
}

}  // namespace ksl
