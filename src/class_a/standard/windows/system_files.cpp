#include <direct.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>

#include "class_a/standard/detail/system_files.h"

namespace ksl {

char path_separator() {
    return '\\';
}

std::string platform_path(const std::string& path) {
    return path;
}

PathKind path_kind(const std::string& path) {
    struct _stat64 found;
    if (_stat64(path.c_str(), &found) != 0) return PathKind::missing;
    return (found.st_mode & 0xf000) == 0x4000 ? PathKind::directory : PathKind::file;
}

bool remove_file(const std::string& path) {
    return _unlink(path.c_str()) == 0;
}

bool remove_directory(const std::string& path) {
    return _rmdir(path.c_str()) == 0;
}

int open_for_reading(const std::string& path, std::ifstream& in) {
    in.open(path);
    return in.is_open() ? 0 : static_cast<int>(GetLastError());
}

}  // namespace ksl
