#include <windows.h>

#include "class_a/standard/ksl_text.h"

namespace ksl {

namespace {

// The system's conversions count in int. A longer text gives 0, which is what they return for what they can't
// convert.
int length_of(std::size_t size) {
    return size > INT_MAX ? 0 : static_cast<int>(size);
}

}  // namespace

std::string to_utf8(const std::wstring& text) {
    const int length = length_of(text.size());
    if (length == 0) return {};
    const int needed = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(), needed, nullptr, nullptr);
    return result;
}

std::wstring from_utf8(const std::string& text) {
    const int length = length_of(text.size());
    if (length == 0) return {};
    const int needed = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
    std::wstring result(static_cast<std::size_t>(needed), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(), needed);
    return result;
}

}  // namespace ksl
