#include "operation_watch.h"

OperationWatch Watched;

#define WRAPPED(result, mangled, ...)                \
    extern "C" result __real_##mangled(__VA_ARGS__); \
    extern "C" result __wrap_##mangled(__VA_ARGS__)

WRAPPED(LPVOID, _Z9HeapAllocPvjm, HANDLE heap, DWORD flags, SIZE_T size) {
    if (Watched.onHeapAlloc) Watched.onHeapAlloc();
    if (Watched.heapAlloc.IsDue()) return nullptr;
    void* const block = __real__Z9HeapAllocPvjm(heap, flags, size);
    if (Watched.blocks != nullptr) Watched.blocks->insert(block);
    return block;
}

WRAPPED(BOOL, _Z8HeapFreePvjS_, HANDLE heap, DWORD flags, LPVOID block) {
    if (Watched.heapFree.IsDue()) return FALSE;
    if (Watched.blocks != nullptr) Watched.blocks->erase(block);
    return __real__Z8HeapFreePvjS_(heap, flags, block);
}

WRAPPED(HANDLE, _Z12CreateMutexAP19SECURITY_ATTRIBUTESiPKc, LPSECURITY_ATTRIBUTES attributes, BOOL owned,
        LPCSTR name) {
    if (Watched.createMutex.IsDue()) return nullptr;
    return __real__Z12CreateMutexAP19SECURITY_ATTRIBUTESiPKc(attributes, owned, name);
}

WRAPPED(BOOL, _Z12ReportEventAPvttjS_tjPPKcS_, HANDLE log, WORD type, WORD category, DWORD number, void* user,
        WORD count, DWORD size, LPCSTR* strings, LPVOID data) {
    if (Watched.onEvent) Watched.onEvent(number);
    return __real__Z12ReportEventAPvttjS_tjPPKcS_(log, type, category, number, user, count, size, strings,
                                                  data);
}

WRAPPED(BOOL, _Z16SetServiceStatusP23SERVICE_STATUS_HANDLE__P14SERVICE_STATUS, SERVICE_STATUS_HANDLE handle,
        LPSERVICE_STATUS status) {
    if (!Watched.onStatus)
        return __real__Z16SetServiceStatusP23SERVICE_STATUS_HANDLE__P14SERVICE_STATUS(handle, status);
    Watched.onStatus(*status);
    return TRUE;
}

WRAPPED(SERVICE_STATUS_HANDLE, _Z27RegisterServiceCtrlHandlerAPKcPFvjE, LPCSTR service,
        LPHANDLER_FUNCTION handler) {
    if (!Watched.onStatus) return __real__Z27RegisterServiceCtrlHandlerAPKcPFvjE(service, handler);
    return reinterpret_cast<SERVICE_STATUS_HANDLE>(&Watched);
}
