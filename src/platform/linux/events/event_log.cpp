#include "platform/linux/faces/event_log.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "platform/linux/events/event_writer.h"
#include "platform/linux/events/system_text.h"
#include "platform/linux/objects/object.h"
#include "platform/linux/objects/promise.h"

namespace {

class EventSource : public Object {
  public:
    static constexpr ObjectType OwnType = ObjectType::EventSource;
    explicit EventSource(std::string sourceName) : Object(OwnType), name(std::move(sourceName)) {}

    const std::string name;
};

DWORD Fail(DWORD error) {
    SetLastError(error);
    return 0;
}

// Gives the text in a new block, whose address goes where `buffer` points; a block is `size` bytes at least.
DWORD GiveAllocated(const std::string& text, LPSTR buffer, DWORD size) {
    char* block = static_cast<char*>(std::calloc(1, std::max<std::size_t>(text.size() + 1, size)));
    if (block == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY);
    std::memcpy(block, text.data(), text.size());
    std::memcpy(buffer, &block, sizeof(block));
    return static_cast<DWORD>(text.size());
}

}  // namespace

HANDLE WINAPI RegisterEventSourceA(LPCSTR server, LPCSTR source) try {
    if (source == nullptr || *source == '\0' || (server != nullptr && *server != '\0')) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return PublishObject(MakeObject<EventSource>(source));
} catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

BOOL WINAPI DeregisterEventSource(HANDLE log) {
    return CloseObjectHandle(log, ObjectType::EventSource);
}

BOOL WINAPI ReportEventA(HANDLE log, WORD type, WORD, DWORD number, PVOID, WORD stringCount, DWORD,
                         LPCSTR* strings, LPVOID) try {
    const Ref<EventSource> source = LookUpObject<EventSource>(log);
    if (!source) return FALSE;
    if (stringCount > 0 && strings == nullptr) return static_cast<BOOL>(Fail(ERROR_INVALID_PARAMETER));
    std::vector<std::string_view> insertions;
    for (WORD i = 0; i < stringCount; ++i)
        insertions.emplace_back(strings[i] != nullptr ? strings[i] : "");
    KeepPromise();
    const DWORD error = WriteEvent(MakeEvent(type, number, source->name, insertions));
    if (error != ERROR_SUCCESS) SetLastError(error);
    return error == ERROR_SUCCESS;
} catch (const std::bad_alloc&) {
    return static_cast<BOOL>(Fail(ERROR_NOT_ENOUGH_MEMORY));
}

DWORD WINAPI FormatMessageA(DWORD flags, LPCVOID, DWORD message, DWORD, LPSTR buffer, DWORD size, void*) try {
    const bool allocates = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
    if ((flags & FORMAT_MESSAGE_FROM_SYSTEM) == 0 || buffer == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    const std::string text = SystemText(message);
    if (text.empty()) return Fail(ERROR_MR_MID_NOT_FOUND);
    if (allocates) return GiveAllocated(text, buffer, size);
    if (size <= text.size()) return Fail(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return static_cast<DWORD>(text.size());
} catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
}

HLOCAL WINAPI LocalFree(HLOCAL block) {
    std::free(block);
    return nullptr;
}
