#include "platform/linux/faces/service_manager.h"

#include <algorithm>
#include <atomic>
#include <string>

#include "platform/linux/instance/control_client.h"
#include "platform/linux/instance/home.h"
#include "platform/linux/manager/service_dispatcher.h"
#include "platform/linux/manager/service_rules.h"
#include "platform/linux/manager/service_store.h"
#include "platform/linux/objects/object.h"
#include "platform/linux/system/ascii_case.h"
#include "platform/linux/system/system_error.h"

namespace {

class ManagerObject : public Object {
  public:
    static constexpr ObjectType OwnType = ObjectType::ServiceManager;
    ManagerObject() : Object(OwnType) {}
};

class ServiceObject : public Object {
  public:
    static constexpr ObjectType OwnType = ObjectType::Service;
    explicit ServiceObject(std::string serviceName) : Object(OwnType), name(std::move(serviceName)) {}

    const std::string name;
};

// Names nothing: it tells that a handler was registered.
class StatusObject : public Object {
  public:
    static constexpr ObjectType OwnType = ObjectType::ServiceStatus;
    StatusObject() : Object(OwnType) {}
};

// For the operations that answer with a BOOL.
BOOL Answer(DWORD error) {
    if (error == ERROR_SUCCESS) return TRUE;
    SetLastError(error);
    return FALSE;
}

template <class Handle>
Handle Fail(DWORD error) {
    SetLastError(error);
    return nullptr;
}

// The same of an operation that was left by an exception.
BOOL AnswerCaught() {
    return Answer(CaughtError());
}

SC_HANDLE Publish(Ref<Object> object) {
    return static_cast<SC_HANDLE>(static_cast<void*>(PublishObject(std::move(object))));
}

bool IsManager(SC_HANDLE handle) {
    return static_cast<bool>(LookUpObject<ManagerObject>(handle));
}

std::string TextOf(LPCSTR text) {
    return text != nullptr ? text : "";
}

DWORD Ask(DWORD control, SERVICE_STATUS& status) {
    DWORD error = ERROR_SUCCESS;
    const auto reply = AskService(PathOf(HomePlace::ControlSocket), control, error);
    if (!reply) return error;
    status = reply->status;
    return reply->error;
}

SERVICE_STATUS StoppedStatus() {
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = SERVICE_STOPPED;
    return status;
}

}  // namespace

BOOL WINAPI StartServiceCtrlDispatcherA(const SERVICE_TABLE_ENTRYA* table) try {
    if (table == nullptr || table->lpServiceName == nullptr || table->lpServiceProc == nullptr)
        return Answer(ERROR_INVALID_PARAMETER);
    return Answer(ServiceDispatcher::Instance().Run(*table));
} catch (...) {
    return AnswerCaught();
}

SERVICE_STATUS_HANDLE WINAPI RegisterServiceCtrlHandlerA(LPCSTR service, LPHANDLER_FUNCTION handler) {
    if (service == nullptr || handler == nullptr) return Fail<SERVICE_STATUS_HANDLE>(ERROR_INVALID_PARAMETER);
    if (const DWORD error = ServiceDispatcher::Instance().SetHandler(handler); error != ERROR_SUCCESS)
        return Fail<SERVICE_STATUS_HANDLE>(error);
    return static_cast<SERVICE_STATUS_HANDLE>(static_cast<void*>(PublishObject(MakeObject<StatusObject>())));
}

BOOL WINAPI SetServiceStatus(SERVICE_STATUS_HANDLE handle, LPSERVICE_STATUS status) try {
    if (!LookUpObject<StatusObject>(handle)) return FALSE;
    if (status == nullptr) return Answer(ERROR_NOACCESS);
    if (!IsValidStatus(*status)) return Answer(ERROR_INVALID_DATA);
    ServiceDispatcher::Instance().Report(*status);
    return TRUE;
} catch (...) {
    return AnswerCaught();
}

SC_HANDLE WINAPI OpenSCManagerA(LPCSTR machine, LPCSTR database, DWORD) {
    // There is the manager of this machine and its one database.
    if (machine != nullptr && *machine != '\0') return Fail<SC_HANDLE>(ERROR_INVALID_COMPUTERNAME);
    if (database != nullptr && !EqualWithoutCase(database, "ServicesActive"))
        return Fail<SC_HANDLE>(ERROR_INVALID_NAME);
    return Publish(MakeObject<ManagerObject>());
}

SC_HANDLE WINAPI CreateServiceA(SC_HANDLE manager, LPCSTR name, LPCSTR displayName, DWORD, DWORD type,
                                DWORD start, DWORD errorControl, LPCSTR path, LPCSTR loadOrderGroup,
                                LPDWORD tag, LPCSTR dependencies, LPCSTR account, LPCSTR password) try {
    if (!IsManager(manager)) return nullptr;
    if (name == nullptr || path == nullptr) return Fail<SC_HANDLE>(ERROR_INVALID_PARAMETER);
    // The unit decides on these.
    if (loadOrderGroup != nullptr || tag != nullptr || dependencies != nullptr || account != nullptr ||
        password != nullptr)
        return Fail<SC_HANDLE>(ERROR_CALL_NOT_IMPLEMENTED);
    const std::string shown = displayName != nullptr ? displayName : name;
    const DWORD error = StoreService({name, shown, path, type, start, errorControl});
    if (error != ERROR_SUCCESS) return Fail<SC_HANDLE>(error);
    return Publish(MakeObject<ServiceObject>(name));
} catch (...) {
    return Fail<SC_HANDLE>(CaughtError());
}

SC_HANDLE WINAPI OpenServiceA(SC_HANDLE manager, LPCSTR name, DWORD) try {
    if (!IsManager(manager)) return nullptr;
    if (const DWORD error = FindService(TextOf(name)); error != ERROR_SUCCESS) return Fail<SC_HANDLE>(error);
    return Publish(MakeObject<ServiceObject>(name));
} catch (...) {
    return Fail<SC_HANDLE>(CaughtError());
}

BOOL WINAPI QueryServiceStatus(SC_HANDLE service, LPSERVICE_STATUS status) try {
    if (!LookUpObject<ServiceObject>(service)) return FALSE;
    if (status == nullptr) return Answer(ERROR_NOACCESS);
    const DWORD error = Ask(ControlQuery, *status);
    if (error != ERROR_SERVICE_NOT_ACTIVE) return Answer(error);
    *status = StoppedStatus();
    return TRUE;
} catch (...) {
    return AnswerCaught();
}

BOOL WINAPI ControlService(SC_HANDLE service, DWORD control, LPSERVICE_STATUS status) try {
    if (!LookUpObject<ServiceObject>(service)) return FALSE;
    if (status == nullptr) return Answer(ERROR_NOACCESS);
    // It would be taken for the query.
    if (control == ControlQuery) return Answer(ERROR_INVALID_SERVICE_CONTROL);
    *status = StoppedStatus();
    return Answer(Ask(control, *status));
} catch (...) {
    return AnswerCaught();
}

BOOL WINAPI DeleteService(SC_HANDLE service) try {
    const auto object = LookUpObject<ServiceObject>(service);
    if (!object) return FALSE;
    const DWORD error = EraseService(object->name);
    // The handle is open still, so to its holder the service is one that waits for its end.
    return Answer(error == ERROR_SERVICE_DOES_NOT_EXIST ? ERROR_SERVICE_MARKED_FOR_DELETE : error);
} catch (...) {
    return AnswerCaught();
}

BOOL WINAPI CloseServiceHandle(SC_HANDLE handle) {
    const ObjectType type = IsManager(handle) ? ObjectType::ServiceManager : ObjectType::Service;
    return CloseObjectHandle(handle, type) ? TRUE : FALSE;
}
