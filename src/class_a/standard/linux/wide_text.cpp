#include <utf8.h>

#include <cstdint>
#include <iterator>

#include "class_a/standard/ksl_text.h"

namespace ksl {

static_assert(sizeof(wchar_t) == sizeof(char32_t), "one wide character is one code point here");

std::string to_utf8(const std::wstring& text) {
    constexpr char32_t kReplacement = 0xFFFD;
    std::string result;
    for (const wchar_t c : text) {
        const auto codePoint = static_cast<char32_t>(c);
        utf8::append(utf8::internal::is_code_point_valid(codePoint) ? codePoint : kReplacement,
                     std::back_inserter(result));
    }
    return result;
}

std::wstring from_utf8(const std::string& text) {
    std::wstring result;
    const std::string valid = utf8::replace_invalid(text);
    utf8::utf8to32(valid.begin(), valid.end(), std::back_inserter(result));
    return result;
}

}  // namespace ksl
