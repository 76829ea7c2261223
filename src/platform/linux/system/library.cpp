#include "platform/linux/faces/library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <filesystem>
#include <new>
#include <string>

#include "platform/linux/instance/executable_path.h"
#include "platform/linux/instance/home.h"
#include "platform/linux/system/ascii_case.h"

namespace {

namespace fs = std::filesystem;

constexpr DWORD BadExecutableFormat = 193;

// NAME.dll, and NAME without an extension, are NAME.so here.
std::string LibraryFileName(std::string name) {
    constexpr std::string_view Extension = ".dll";
    const std::string_view whole = name;
    if (whole.size() > Extension.size() &&
        EqualWithoutCase(whole.substr(whole.size() - Extension.size()), Extension)) {
        return name.substr(0, name.size() - Extension.size()) + ".so";
    }
    return name.find('.') == std::string::npos ? name + ".so" : name;
}

// Null for an empty name and for a bare one that is in none of the folders.
HMODULE Load(const std::string& name) {
    fs::path path = name;
    if (name.find('/') == std::string::npos) {
        const std::string file = LibraryFileName(name);
        path = fs::path(ExecutablePath()).parent_path() / file;
        if (access(path.c_str(), F_OK) != 0) path = fs::path(QUILLON_LIBRARY_DIR) / file;
    }
    if (name.empty() || access(path.c_str(), F_OK) != 0) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) SetLastError(BadExecutableFormat);
    return static_cast<HMODULE>(library);
}

}  // namespace

HMODULE WINAPI LoadLibraryA(LPCSTR name) try {
    return Load(NativePath(name));
} catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

FARPROC WINAPI GetProcAddress(HMODULE library, LPCSTR name) {
    // A null library would search the whole process.
    void* address = library != nullptr && name != nullptr ? dlsym(library, name) : nullptr;
    if (address == nullptr) SetLastError(ERROR_PROC_NOT_FOUND);
    return reinterpret_cast<FARPROC>(address);
}
