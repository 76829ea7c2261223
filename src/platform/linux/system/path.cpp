#include <dlfcn.h>
#include <link.h>

#include <cstring>
#include <filesystem>
#include <new>
#include <string>

#include "platform/linux/faces/file.h"
#include "platform/linux/instance/executable_path.h"
#include "platform/linux/instance/home.h"

namespace {

namespace fs = std::filesystem;

DWORD Fail(DWORD error) {
    SetLastError(error);
    return 0;
}

}  // namespace

std::string ExecutablePath() {
    std::error_code failure;
    return fs::read_symlink("/proc/self/exe", failure).string();
}

DWORD WINAPI GetFullPathNameA(LPCSTR path, DWORD size, LPSTR buffer, LPSTR* filePart) try {
    const std::string native = NativePath(path);
    if (native.empty()) return Fail(ERROR_INVALID_NAME);
    std::error_code failure;
    const fs::path current = fs::current_path(failure);
    if (failure && native.front() != '/') return Fail(ERROR_PATH_NOT_FOUND);
    const std::string full = (current / native).lexically_normal().string();
    if (size <= full.size() || buffer == nullptr) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return static_cast<DWORD>(full.size() + 1);
    }
    std::memcpy(buffer, full.c_str(), full.size() + 1);
    const std::size_t slash = full.rfind('/');
    if (filePart != nullptr) *filePart = slash + 1 == full.size() ? nullptr : buffer + slash + 1;
    return static_cast<DWORD>(full.size());
} catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
}

DWORD WINAPI GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) try {
    std::string path;
    if (module == nullptr) {
        path = ExecutablePath();
    } else if (link_map* map = nullptr; dlinfo(module, RTLD_DI_LINKMAP, &map) == 0) {
        path = map->l_name;
    }
    if (path.empty()) return Fail(ERROR_MOD_NOT_FOUND);
    if (buffer == nullptr || size == 0) return Fail(ERROR_INSUFFICIENT_BUFFER);
    const std::size_t count = std::min<std::size_t>(path.size(), size - 1);
    std::memcpy(buffer, path.data(), count);
    buffer[count] = '\0';
    if (count == path.size()) return static_cast<DWORD>(count);
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
} catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
}
