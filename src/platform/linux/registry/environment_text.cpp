#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "platform/linux/faces/registry.h"

namespace {

// A percent sign without a partner, and a name that isn't set, stay as they are.
std::string Expand(std::string_view text) {
    std::string expanded;
    while (!text.empty()) {
        const std::size_t begin = text.find('%');
        const std::size_t end = begin == std::string_view::npos ? begin : text.find('%', begin + 1);
        if (end == std::string_view::npos) break;
        const std::string name(text.substr(begin + 1, end - begin - 1));
        const char* value = name.empty() ? nullptr : std::getenv(name.c_str());
        expanded += text.substr(0, begin);
        if (value != nullptr) {
            expanded += value;
            text.remove_prefix(end + 1);
        } else {
            // The second sign may begin the next name.
            expanded += text.substr(begin, end - begin);
            text.remove_prefix(end);
        }
    }
    return expanded.append(text);
}

}  // namespace

DWORD WINAPI ExpandEnvironmentStringsA(LPCSTR source, LPSTR target, DWORD size) try {
    if (source == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const std::string expanded = Expand(source);
    const std::size_t needed = expanded.size() + 1;
    if (target != nullptr && size >= needed) {
        std::memcpy(target, expanded.c_str(), needed);
    } else if (target != nullptr && size > 0) {
        target[0] = '\0';
    }
    return static_cast<DWORD>(needed);
} catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
}
