#include "platform/linux/manager/service_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "platform/linux/instance/home.h"
#include "platform/linux/instance/systemd_unit.h"
#include "platform/linux/registry/registry_edit.h"
#include "platform/linux/system/descriptor.h"
#include "platform/linux/system/system_error.h"

namespace {

constexpr char ServicesKey[] = "SYSTEM\\CurrentControlSet\\Services\\";
constexpr char ImagePath[] = "ImagePath";
constexpr const char* OwnValues[] = {"Type", "Start", "ErrorControl", ImagePath, "DisplayName"};

// The key of one service. The first failure stays, and what comes after it does nothing.
class ServiceKey {
  public:
    static ServiceKey Create(const std::string& service) { return ServiceKey(service, RegCreateKeyA); }
    static ServiceKey Open(const std::string& service) { return ServiceKey(service, RegOpenKeyA); }
    ServiceKey(const ServiceKey&) = delete;
    ServiceKey& operator=(const ServiceKey&) = delete;
    ~ServiceKey() {
        if (key_ != nullptr) RegCloseKey(key_);
    }

    DWORD Error() const { return static_cast<DWORD>(error_); }

    void SetNumber(const char* name, DWORD value) { Set(name, REG_DWORD, &value, sizeof value); }
    void SetText(const char* name, DWORD type, const std::string& text) {
        Set(name, type, text.c_str(), text.size() + 1);
    }
    // What the service itself keeps there; a value that is missing already is no failure.
    void RemoveOwnValues() {
        for (const char* name : OwnValues) {
            if (error_ == NoError) error_ = RegDeleteValueA(key_, name);
            if (error_ == NotFound) error_ = NoError;
        }
    }
    // A key may be there without a service, for what its service leaves behind.
    void Require(const char* name) {
        DWORD size = 0;
        if (error_ == NoError) error_ = RegQueryValueExA(key_, name, nullptr, nullptr, nullptr, &size);
    }

  private:
    static constexpr LONG NoError = ERROR_SUCCESS;
    static constexpr LONG NotFound = ERROR_FILE_NOT_FOUND;

    ServiceKey(const std::string& service, decltype(&RegOpenKeyA) open)
        : error_(open(HKEY_LOCAL_MACHINE, (ServicesKey + service).c_str(), &key_)) {}

    void Set(const char* name, DWORD type, const void* data, std::size_t size) {
        if (error_ == NoError)
            error_ =
                RegSetValueExA(key_, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size));
    }

    HKEY key_ = nullptr;
    LONG error_;
};

// Under a name of its own first, so that the manager never reads half a unit.
DWORD WriteUnit(const std::string& path, const std::string& text) {
    std::error_code failure;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), failure);
    std::string temporary = path + ".XXXXXX";
    const Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file) return WindowsErrorFrom(errno);
    const ssize_t written = ::write(file.Get(), text.data(), text.size());
    if (written == static_cast<ssize_t>(text.size()) && ::fchmod(file.Get(), 0644) == 0 &&
        ::fsync(file.Get()) == 0 && std::rename(temporary.c_str(), path.c_str()) == 0)
        return ERROR_SUCCESS;
    const DWORD error = written >= 0 && written < static_cast<ssize_t>(text.size()) ? ERROR_DISK_FULL
                                                                                    : WindowsErrorFrom(errno);
    ::unlink(temporary.c_str());
    return error;
}

std::string UnitPath(const std::string& unitName) {
    return PathOf(HomePlace::UnitFolder) + "/" + unitName;
}

DWORD RemoveUnit(const std::string& unitName) {
    return ::unlink(UnitPath(unitName).c_str()) == 0 || errno == ENOENT ? ERROR_SUCCESS
                                                                        : WindowsErrorFrom(errno);
}

DWORD StoreValues(const ServiceRecord& service) {
    ServiceKey key = ServiceKey::Create(service.name);
    key.SetNumber("Type", service.type);
    key.SetNumber("Start", service.start);
    key.SetNumber("ErrorControl", service.errorControl);
    key.SetText("DisplayName", REG_SZ, service.displayName);
    // Last, because it is what makes the key that of a service.
    key.SetText(ImagePath, REG_EXPAND_SZ, service.imagePath);
    return key.Error();
}

DWORD EraseValues(const std::string& name) {
    {
        ServiceKey key = ServiceKey::Open(name);
        key.RemoveOwnValues();
        if (key.Error() != ERROR_SUCCESS) return key.Error();
    }
    // With subkeys it stays.
    const auto error = static_cast<DWORD>(RegDeleteKeyA(HKEY_LOCAL_MACHINE, (ServicesKey + name).c_str()));
    return error == ERROR_ACCESS_DENIED ? ERROR_SUCCESS : error;
}

}  // namespace

DWORD StoreService(const ServiceRecord& service) {
    const auto unitName = UnitName(service.name);
    const auto unit = UnitText(SettingsHere(service.displayName, NativePath(service.imagePath.c_str())));
    if (!unitName || !unit) return ERROR_INVALID_NAME;
    const DWORD found = FindService(service.name);
    if (found != ERROR_SERVICE_DOES_NOT_EXIST) return found == ERROR_SUCCESS ? ERROR_SERVICE_EXISTS : found;
    if (const DWORD error = WriteUnit(UnitPath(*unitName), *unit); error != ERROR_SUCCESS) return error;
    const DWORD error = StoreValues(service);
    if (error != ERROR_SUCCESS) {
        RemoveUnit(*unitName);
        EraseValues(service.name);
    }
    return error;
}

DWORD FindService(const std::string& name) {
    if (!UnitName(name)) return ERROR_INVALID_NAME;
    ServiceKey key = ServiceKey::Open(name);
    key.Require(ImagePath);
    return key.Error() == ERROR_FILE_NOT_FOUND ? ERROR_SERVICE_DOES_NOT_EXIST : key.Error();
}

DWORD EraseService(const std::string& name) {
    if (const DWORD error = FindService(name); error != ERROR_SUCCESS) return error;
    if (const DWORD error = RemoveUnit(*UnitName(name)); error != ERROR_SUCCESS) return error;
    return EraseValues(name);
}
