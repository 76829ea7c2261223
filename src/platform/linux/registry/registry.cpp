#include "platform/linux/faces/registry.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "platform/linux/objects/object.h"
#include "platform/linux/registry/registry_store.h"
#include "platform/linux/system/system_error.h"

namespace {

// An open key is a path: another process may delete the key meanwhile, and a query then finds nothing.
class OpenKey : public Object {
  public:
    static constexpr ObjectType OwnType = ObjectType::RegistryKey;
    explicit OpenKey(std::string keyPath) : Object(OwnType), path(std::move(keyPath)) {}

    const std::string path;
};

// No exception leaves an operation.
template <class Operation>
LONG Guarded(Operation operation) try {
    return operation();
} catch (const std::invalid_argument&) {
    return ERROR_INVALID_DATA;
} catch (...) {
    return static_cast<LONG>(CaughtError());
}

bool PathOfKey(HKEY key, std::string& path) {
    if (key == HKEY_LOCAL_MACHINE) {
        path.clear();
        return true;
    }
    const Ref<OpenKey> open = LookUpObject<OpenKey>(key);
    if (open) path = open->path;
    return static_cast<bool>(open);
}

// The path of `subkey` below `parent`; 0 or an error number.
LONG JoinPath(HKEY parent, LPCSTR subkey, std::string& path) {
    if (!PathOfKey(parent, path)) return ERROR_INVALID_HANDLE;
    std::string below = subkey != nullptr ? subkey : "";
    if (below.ends_with('\\')) below.pop_back();
    if (below.empty()) return ERROR_SUCCESS;
    const bool hasEmptyName = below.front() == '\\' || below.find("\\\\") != std::string::npos;
    const bool hasControl =
        std::any_of(below.begin(), below.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; });
    if (hasEmptyName || hasControl) return ERROR_BAD_PATHNAME;
    path += path.empty() ? below : "\\" + below;
    return ERROR_SUCCESS;
}

LONG PublishKey(const std::string& path, PHKEY key) {
    const HANDLE handle = PublishObject(MakeObject<OpenKey>(path));
    *key = static_cast<HKEY>(handle);
    return handle != nullptr ? LONG{ERROR_SUCCESS} : LONG{ERROR_NOT_ENOUGH_MEMORY};
}

// Gives `data` to a caller who may have asked for the size alone.
LONG CopyData(const std::string& data, LPBYTE target, LPDWORD size) {
    if (size == nullptr) return target == nullptr ? LONG{ERROR_SUCCESS} : LONG{ERROR_INVALID_PARAMETER};
    const DWORD room = *size;
    *size = static_cast<DWORD>(data.size());
    if (target == nullptr) return ERROR_SUCCESS;
    if (room < data.size()) return ERROR_MORE_DATA;
    std::copy(data.begin(), data.end(), target);
    return ERROR_SUCCESS;
}

}  // namespace

LONG WINAPI RegOpenKeyA(HKEY parent, LPCSTR path, PHKEY key) {
    return Guarded([&]() -> LONG {
        if (key == nullptr) return ERROR_INVALID_PARAMETER;
        *key = nullptr;
        std::string whole;
        if (const LONG error = JoinPath(parent, path, whole); error != ERROR_SUCCESS) return error;
        RegistryRef content;
        if (const LONG error = RefreshRegistry(content); error != ERROR_SUCCESS) return error;
        return content->HasKey(whole) ? PublishKey(whole, key) : LONG{ERROR_FILE_NOT_FOUND};
    });
}

LONG WINAPI RegCreateKeyA(HKEY parent, LPCSTR path, PHKEY key) {
    return Guarded([&]() -> LONG {
        if (key == nullptr) return ERROR_INVALID_PARAMETER;
        *key = nullptr;
        std::string whole;
        if (const LONG error = JoinPath(parent, path, whole); error != ERROR_SUCCESS) return error;
        const LONG error = EditRegistry([&whole](RegistryDocument& content, bool& hasChanged) -> LONG {
            hasChanged = content.CreateKey(whole);
            return ERROR_SUCCESS;
        });
        return error == ERROR_SUCCESS ? PublishKey(whole, key) : error;
    });
}

LONG WINAPI RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD, LPDWORD type, LPBYTE data, LPDWORD size) {
    return Guarded([&]() -> LONG {
        std::string path;
        if (!PathOfKey(key, path)) return ERROR_INVALID_HANDLE;
        RegistryRef content;
        if (const LONG error = CurrentRegistry(content); error != ERROR_SUCCESS) return error;
        const RegistryValue* value = content->FindValue(path, name != nullptr ? name : "");
        if (value == nullptr) return ERROR_FILE_NOT_FOUND;
        if (type != nullptr) *type = value->type;
        return CopyData(value->data, data, size);
    });
}

LONG WINAPI RegSetValueExA(HKEY key, LPCSTR name, DWORD, DWORD type, const BYTE* data, DWORD size) {
    return Guarded([&]() -> LONG {
        std::string path;
        if (!PathOfKey(key, path)) return ERROR_INVALID_HANDLE;
        if (data == nullptr && size > 0) return ERROR_INVALID_PARAMETER;
        RegistryValue value{name != nullptr ? name : "", type,
                            std::string(reinterpret_cast<const char*>(data), size)};
        if (value.name.find_first_of("\r\n") != std::string::npos) return ERROR_INVALID_PARAMETER;
        const bool isText = type == REG_SZ || type == REG_EXPAND_SZ;
        if (isText && !value.data.ends_with('\0')) value.data += '\0';
        return EditRegistry([&](RegistryDocument& content, bool& hasChanged) -> LONG {
            hasChanged = content.SetValue(path, std::move(value));
            return ERROR_SUCCESS;
        });
    });
}

LONG WINAPI RegDeleteKeyA(HKEY parent, LPCSTR path) {
    return Guarded([&]() -> LONG {
        std::string whole;
        if (const LONG error = JoinPath(parent, path, whole); error != ERROR_SUCCESS) return error;
        return EditRegistry([&whole](RegistryDocument& content, bool& hasChanged) -> LONG {
            if (whole.empty() || content.HasSubkeys(whole)) return ERROR_ACCESS_DENIED;
            hasChanged = content.RemoveKey(whole);
            return hasChanged ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
        });
    });
}

LONG WINAPI RegCloseKey(HKEY key) {
    if (key == HKEY_LOCAL_MACHINE) return ERROR_SUCCESS;
    return CloseObjectHandle(key, ObjectType::RegistryKey) ? LONG{ERROR_SUCCESS} : LONG{ERROR_INVALID_HANDLE};
}
