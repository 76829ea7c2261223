#include <windows.h>

#include <memory>

#include "class_a/standard/detail/system_error.h"
#include "class_a/standard/ksl_text.h"

namespace ksl {

int last_system_error() {
    return static_cast<int>(GetLastError());
}

bool system_error_text(int code, std::string& text) {
    wchar_t* found = nullptr;
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr,
                       static_cast<DWORD>(code), 0, reinterpret_cast<wchar_t*>(&found), 0, nullptr);
    if (length == 0) return false;
    const std::unique_ptr<wchar_t, decltype(&LocalFree)> owned(found, &LocalFree);
    text = to_utf8(std::wstring(found, length));
    return true;
}

}  // namespace ksl
