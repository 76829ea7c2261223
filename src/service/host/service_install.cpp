#include "service/host/service_install.h"

#include <cstdio>
#include <cstring>

#include "service/server_parameters.h"

namespace {

constexpr char EventSourceKey[] = "SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\Quillon";
constexpr DWORD AllEventTypes = 7;

class ServiceHandle {
  public:
    explicit ServiceHandle(SC_HANDLE handle) : handle_(handle) {}
    ~ServiceHandle() {
        if (handle_ != nullptr) CloseServiceHandle(handle_);
    }
    ServiceHandle(const ServiceHandle&) = delete;
    ServiceHandle& operator=(const ServiceHandle&) = delete;

    explicit operator bool() const { return handle_ != nullptr; }
    SC_HANDLE get() const { return handle_; }

  private:
    SC_HANDLE handle_;
};

bool CreateEventSource(const char* path) {
    HKEY key = nullptr;
    if (RegCreateKeyA(HKEY_LOCAL_MACHINE, EventSourceKey, &key) != 0) return false;
    const DWORD types = AllEventTypes;
    const bool written =
        RegSetValueExA(key, "EventMessageFile", 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE*>(path),
                       static_cast<DWORD>(std::strlen(path) + 1)) == 0 &&
        RegSetValueExA(key, "TypesSupported", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&types),
                       sizeof types) == 0;
    RegCloseKey(key);
    return written;
}

using WriteParameters = decltype(&WriteRegistryParameters);

bool CreateParameters(WriteParameters write) {
    HKEY key = nullptr;
    if (RegCreateKeyA(HKEY_LOCAL_MACHINE, ParametersKey, &key) != 0) return false;
    RegCloseKey(key);
    ServerParameters record = {};
    SetDefaultParameters(&record);
    char name[ParameterTextSize];
    return write(HKEY_LOCAL_MACHINE, &record, name, ParametersKey) == RegistryReadOk;
}

bool HasEventSource() {
    HKEY key = nullptr;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, EventSourceKey, &key) != 0) return false;
    const bool isThere = RegQueryValueExA(key, "TypesSupported", nullptr, nullptr, nullptr, nullptr) == 0;
    RegCloseKey(key);
    return isThere;
}

// A service that is there already is one that an install didn't finish, or one that needs none.
bool FinishInstall(const char* path) {
    if (HasEventSource() && HasInstalledParameters(HKEY_LOCAL_MACHINE, ParametersKey)) return false;
    return CreateEventSource(path) && CreateParameters(CompleteRegistryParameters);
}

bool IsStopped(SC_HANDLE service, bool* stopped) {
    SERVICE_STATUS status = {};
    if (!QueryServiceStatus(service, &status)) return false;
    *stopped = status.dwCurrentState == SERVICE_STOPPED;
    return true;
}

// Returns null, or why the service can't be removed.
const char* Remove(SC_HANDLE manager) {
    if (manager == nullptr) return "Invalid SCM handle";
    const ServiceHandle service(OpenServiceA(manager, ServiceName, SERVICE_ALL_ACCESS));
    if (!service) return "The service is not installed or you do not have access.";
    bool stopped = false;
    if (!IsStopped(service.get(), &stopped)) return "Error querying the service status";
    if (!stopped) {
        std::printf("Stopping the Quillon service...\n");
        SERVICE_STATUS status = {};
        if (!ControlService(service.get(), SERVICE_CONTROL_STOP, &status))
            return "Error attempting to stop the service.\n";
    }
    if (!DeleteService(service.get())) return "Error deleting the Quillon service";
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, EventSourceKey);
    return nullptr;
}

}  // namespace

int InstallService(SC_HANDLE manager) {
    if (manager == nullptr) return 0;
    char path[ParameterTextSize] = {};
    const DWORD length = GetModuleFileNameA(nullptr, path, sizeof path);
    if (length == 0 || length >= sizeof path) return 0;
    const ServiceHandle service(CreateServiceA(
        manager, ServiceName, ServiceName, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
        SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, path, nullptr, nullptr, nullptr, nullptr, nullptr));
    if (!service) return GetLastError() == ERROR_SERVICE_EXISTS && FinishInstall(path) ? 1 : 0;
    return CreateEventSource(path) && CreateParameters(WriteRegistryParameters) ? 1 : 0;
}

int RemoveService(SC_HANDLE manager, const char** message) {
    const char* const failure = Remove(manager);
    if (failure == nullptr) return 1;
    *message = failure;
    return 0;
}
