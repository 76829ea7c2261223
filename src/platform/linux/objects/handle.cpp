#include "platform/linux/faces/handle.h"

#include "platform/linux/faces/thread.h"
#include "platform/linux/objects/object.h"
#include "platform/linux/objects/thread_object.h"
#include "platform/linux/system/system_error.h"

HANDLE WINAPI GetCurrentProcess() {
    return INVALID_HANDLE_VALUE;
}

BOOL WINAPI CloseHandle(HANDLE handle) {
    if (handle == GetCurrentProcess() || handle == GetCurrentThread()) return TRUE;
    return CloseAnyObjectHandle(handle);
}

BOOL WINAPI DuplicateHandle(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, PHANDLE target, DWORD,
                            BOOL, DWORD options) try {
    if (target != nullptr) *target = nullptr;
    if (sourceProcess != GetCurrentProcess() || targetProcess != GetCurrentProcess()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    const HANDLE made = source == GetCurrentThread() ? PublishObject(ThreadObject::FromHandle(source))
                                                     : DuplicateObjectHandle(source);
    if (made == nullptr) return FALSE;
    if ((options & DUPLICATE_CLOSE_SOURCE) != 0) CloseHandle(source);
    if (target == nullptr) return CloseHandle(made);
    *target = made;
    return TRUE;
} catch (...) {
    SetLastError(CaughtError());
    return FALSE;
}
