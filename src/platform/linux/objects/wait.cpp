#include "platform/linux/faces/wait.h"

#include "platform/linux/objects/mutex_object.h"
#include "platform/linux/objects/object.h"
#include "platform/linux/objects/signal_state.h"
#include "platform/linux/objects/thread_object.h"
#include "platform/linux/system/system_error.h"

namespace {

class EventObject final : public Object {
  public:
    static constexpr ObjectType OwnType = ObjectType::Event;

    EventObject(bool manualReset, bool set) : Object(OwnType), state(manualReset, set) {}

    DWORD Wait(DWORD milliseconds) override { return state.Wait(milliseconds); }
    void OnLastHandleClosed() override { state.Close(); }

    SignalState state;
};

bool IsUnnamed(LPCSTR name) {
    if (name != nullptr) SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
    return name == nullptr;
}

}  // namespace

HANDLE WINAPI CreateMutexA(LPSECURITY_ATTRIBUTES, BOOL initialOwner, LPCSTR name) try {
    if (!IsUnnamed(name)) return nullptr;
    if (initialOwner) ThreadObject::Current();  // so that the wait below can't fail
    const Ref<MutexObject> mutex = MakeObject<MutexObject>();
    const HANDLE handle = PublishObject(mutex);
    if (handle != nullptr && initialOwner) mutex->Wait(0);
    return handle;
} catch (...) {
    SetLastError(CaughtError());
    return nullptr;
}

BOOL WINAPI ReleaseMutex(HANDLE handle) try {
    const Ref<MutexObject> mutex = LookUpObject<MutexObject>(handle);
    return mutex && mutex->Release();
} catch (...) {
    SetLastError(CaughtError());
    return FALSE;
}

HANDLE WINAPI CreateEventA(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState, LPCSTR name) {
    if (!IsUnnamed(name)) return nullptr;
    return PublishObject(MakeObject<EventObject>(manualReset != FALSE, initialState != FALSE));
}

BOOL WINAPI SetEvent(HANDLE handle) {
    const Ref<EventObject> event = LookUpObject<EventObject>(handle);
    if (event) event->state.Set();
    return bool(event);
}

BOOL WINAPI ResetEvent(HANDLE handle) {
    const Ref<EventObject> event = LookUpObject<EventObject>(handle);
    if (event) event->state.Reset();
    return bool(event);
}

DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds) try {
    if (ThreadObject::IsPseudoHandle(handle)) return ThreadObject::Current().Wait(milliseconds);
    const Ref<Object> object = LookUpAnyObject(handle);
    return object ? object->Wait(milliseconds) : WAIT_FAILED;
} catch (...) {
    SetLastError(CaughtError());
    return WAIT_FAILED;
}

DWORD WINAPI WaitForSingleObjectEx(HANDLE handle, DWORD milliseconds, BOOL) {
    return WaitForSingleObject(handle, milliseconds);
}
