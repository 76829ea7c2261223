#include "platform/linux/manager/service_store.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <new>
#include <stdexcept>

#include "platform/linux/faces/registry.h"
#include "platform/linux/faces/service_manager.h"
#include "platform/linux/instance/home.h"
#include "platform/linux/instance/systemd_unit.h"
#include "platform/linux/registry/registry_store.h"
#include "platform/linux/system/atomic_file.h"
#include "platform/linux/system/system_error.h"

namespace {

constexpr char ServicesKey[] = "SYSTEM\\CurrentControlSet\\Services\\";
constexpr char ImagePath[] = "ImagePath";
constexpr const char* OwnValues[] = {"Type", "Start", "ErrorControl", ImagePath, "DisplayName"};

std::string KeyOf(const std::string& service) {
    return ServicesKey + service;
}

// A key may be there without a service, for what its service leaves behind.
bool HasService(const RegistryDocument& content, const std::string& name) {
    return content.FindValue(KeyOf(name), ImagePath) != nullptr;
}

std::string UnitPath(const std::string& unitName) {
    return PathOf(HomePlace::UnitFolder) + "/" + unitName;
}

// The manager never reads half a unit.
DWORD WriteUnit(const std::string& path, const std::string& text) {
    std::error_code failure;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), failure);
    const int error = ReplaceFile(path, text);
    return error == 0 ? ERROR_SUCCESS : WindowsErrorFrom(error);
}

DWORD RemoveUnit(const std::string& unitName) {
    return ::unlink(UnitPath(unitName).c_str()) == 0 || errno == ENOENT ? ERROR_SUCCESS
                                                                        : WindowsErrorFrom(errno);
}

void StoreValues(RegistryDocument& content, const ServiceRecord& service) {
    const auto set = [&](const char* name, DWORD type, const std::string& data) {
        content.SetValue(KeyOf(service.name), {name, type, data});
    };
    const auto setNumber = [&set](const char* name, DWORD value) {
        set(name, REG_DWORD, std::string(reinterpret_cast<const char*>(&value), sizeof value));
    };
    setNumber("Type", service.type);
    setNumber("Start", service.start);
    setNumber("ErrorControl", service.errorControl);
    set("DisplayName", REG_SZ, service.displayName + '\0');
    set(ImagePath, REG_EXPAND_SZ, service.imagePath + '\0');
}

// With subkeys the key stays.
void EraseValues(RegistryDocument& content, const std::string& name) {
    for (const char* value : OwnValues)
        content.RemoveValue(KeyOf(name), value);
    if (!content.HasSubkeys(KeyOf(name))) content.RemoveKey(KeyOf(name));
}

// No exception leaves an operation of the manager.
template <class Operation>
DWORD Guarded(Operation operation) try {
    return static_cast<DWORD>(operation());
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
} catch (const std::invalid_argument&) {
    return ERROR_INVALID_DATA;
}

}  // namespace

// The unit comes first: a crash after it leaves nothing that looks like a service, and the next call writes
// both.
DWORD StoreService(const ServiceRecord& service) {
    return Guarded([&]() -> LONG {
        const auto unitName = UnitName(service.name);
        const auto unit = UnitText(SettingsHere(service.displayName, NativePath(service.imagePath.c_str())));
        if (!unitName || !unit) return ERROR_INVALID_NAME;
        bool hasUnit = false;
        const LONG error = EditRegistry([&](RegistryDocument& content, bool& hasChanged) -> LONG {
            if (HasService(content, service.name)) return ERROR_SERVICE_EXISTS;
            StoreValues(content, service);
            const DWORD failure = WriteUnit(UnitPath(*unitName), *unit);
            hasUnit = hasChanged = failure == ERROR_SUCCESS;
            return static_cast<LONG>(failure);
        });
        if (error != ERROR_SUCCESS && hasUnit) RemoveUnit(*unitName);
        return error;
    });
}

DWORD FindService(const std::string& name) {
    return Guarded([&]() -> LONG {
        if (!UnitName(name)) return ERROR_INVALID_NAME;
        RegistryRef content;
        if (const LONG error = RefreshRegistry(content); error != ERROR_SUCCESS) return error;
        return HasService(*content, name) ? LONG{ERROR_SUCCESS} : LONG{ERROR_SERVICE_DOES_NOT_EXIST};
    });
}

// The unit goes first, for the same reason: what is left of a service can be removed once more.
DWORD EraseService(const std::string& name) {
    return Guarded([&]() -> LONG {
        const auto unitName = UnitName(name);
        if (!unitName) return ERROR_INVALID_NAME;
        return EditRegistry([&](RegistryDocument& content, bool& hasChanged) -> LONG {
            if (!HasService(content, name)) return ERROR_SERVICE_DOES_NOT_EXIST;
            if (const DWORD error = RemoveUnit(*unitName); error != ERROR_SUCCESS)
                return static_cast<LONG>(error);
            EraseValues(content, name);
            hasChanged = true;
            return ERROR_SUCCESS;
        });
    });
}
