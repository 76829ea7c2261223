#include "platform/linux/registry/registry_store.h"

#include <cerrno>
#include <mutex>
#include <new>

#include "platform/linux/events/event_writer.h"
#include "platform/linux/faces/registry.h"
#include "platform/linux/instance/home.h"
#include "platform/linux/registry/registry_text.h"
#include "platform/linux/system/atomic_file.h"
#include "platform/linux/system/system_error.h"
#include "platform/linux/system/undying.h"
#include "platform/linux/system/whole_file.h"

namespace {

// What this process knows of the registry of its home.
struct Known {
    std::mutex mutex;
    std::string path;
    RegistryRef content;
};

Known& KnownRegistry() {
    return Undying<Known>();
}

void Remember(const std::string& path, const RegistryRef& content) {
    Known& known = KnownRegistry();
    const std::lock_guard lock(known.mutex);
    known.path = path;
    known.content = content;
}

LONG Numbered(DWORD error) {
    return static_cast<LONG>(error);
}

LONG Parse(const std::string& path, std::string_view text, RegistryDocument& content) try {
    content = ParseRegistry(text);
    return ERROR_SUCCESS;
} catch (const RegistryTextError& error) {
    ReportLayerError(path + ":" + std::to_string(error.Line()) + ": " + error.what());
    return ERROR_REGISTRY_CORRUPT;
}

LONG ReadFile(const std::string& path, RegistryDocument& content) {
    FileText text;
    const DWORD error = ReadWholeFile(path, text);
    if (error == ERROR_SUCCESS) return Parse(path, text.View(), content);
    if (error != ERROR_FILE_NOT_FOUND) return Numbered(error);
    content = RegistryDocument();
    return ERROR_SUCCESS;
}

}  // namespace

LONG RefreshRegistry(RegistryRef& content) {
    const std::string path = PathOf(HomePlace::Registry);
    const auto read = std::make_shared<RegistryDocument>();
    if (const LONG error = ReadFile(path, *read); error != ERROR_SUCCESS) return error;
    content = read;
    Remember(path, content);
    return ERROR_SUCCESS;
}

LONG CurrentRegistry(RegistryRef& content) {
    const std::string path = PathOf(HomePlace::Registry);
    {
        Known& known = KnownRegistry();
        const std::lock_guard lock(known.mutex);
        if (known.path == path) content = known.content;
    }
    return content != nullptr ? LONG{ERROR_SUCCESS} : RefreshRegistry(content);
}

LONG EditRegistry(const RegistryEdit& edit) {
    const std::string path = PathOf(HomePlace::Registry);
    int failure = 0;
    const Descriptor lock = LockForWriting(path, failure);
    if (!lock)
        return failure == ETIMEDOUT ? Numbered(ERROR_SHARING_VIOLATION) : Numbered(WindowsErrorFrom(failure));
    const auto content = std::make_shared<RegistryDocument>();
    if (const LONG error = ReadFile(path, *content); error != ERROR_SUCCESS) return error;
    bool hasChanged = false;
    if (const LONG error = edit(*content, hasChanged); error != ERROR_SUCCESS) return error;
    if (hasChanged) {
        const int error = ReplaceFile(path, FormatRegistry(*content));
        if (error != 0) return Numbered(WindowsErrorFrom(error));
    }
    Remember(path, content);
    return ERROR_SUCCESS;
}
