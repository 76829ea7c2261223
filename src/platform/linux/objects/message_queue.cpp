#include "platform/linux/faces/message_queue.h"

#include "platform/linux/faces/thread.h"
#include "platform/linux/objects/freeze_point.h"
#include "platform/linux/objects/promise.h"
#include "platform/linux/objects/thread_object.h"
#include "platform/linux/system/system_error.h"

namespace {

constexpr UINT Quit = 0x12;  // the one message for which GetMessageA returns false

}  // namespace

BOOL WINAPI PostThreadMessageA(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam) {
    const Ref<ThreadObject> thread = ThreadObject::Find(threadId);
    const DWORD error =
        thread ? thread->messages.Post({nullptr, message, wParam, lParam, GetTickCount(), {0, 0}})
               : ERROR_INVALID_THREAD_ID;
    if (error == ERROR_SUCCESS) return TRUE;
    SetLastError(error);
    return FALSE;
}

BOOL WINAPI WaitMessage() try {
    FreezeWhileSuspended();
    KeepPromise();
    ThreadObject::Current().messages.WaitForUnannounced();
    FreezeWhileSuspended();
    return TRUE;
} catch (...) {
    SetLastError(CaughtError());
    return FALSE;
}

BOOL WINAPI GetMessageA(LPMSG message, HWND window, UINT filterMin, UINT filterMax) try {
    if (message == nullptr) {
        SetLastError(ERROR_NOACCESS);
        return -1;
    }
    if ((window != nullptr && window != INVALID_HANDLE_VALUE) || filterMin != 0 || filterMax != 0) {
        SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
        return -1;
    }
    FreezeWhileSuspended();
    KeepPromise();
    *message = ThreadObject::Current().messages.Take();
    FreezeWhileSuspended();
    return message->message != Quit;
} catch (...) {
    SetLastError(CaughtError());
    return -1;
}
