#include "platform/linux/faces/text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/linux/system/ascii_case.h"
#include "platform/linux/system/local_time.h"

namespace {

constexpr std::size_t ShortText = 8;  // MM/DD/YY and HH:MM:SS
constexpr int FormatLimit = 1024;

// Three numbers of two digits each.
char* WriteTriple(char* text, int first, int second, int third, char separator) {
    const int numbers[] = {first, second, third};
    char* place = text;
    for (const int number : numbers) {
        if (place != text) *place++ = separator;
        *place++ = static_cast<char>('0' + number / 10 % 10);
        *place++ = static_cast<char>('0' + number % 10);
    }
    text[ShortText] = '\0';
    return text;
}

int Sign(std::strong_ordering order) {
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

}  // namespace

char* _strdate(char* text) {
    const tm& now = LocalTime(RealTime().tv_sec);
    return WriteTriple(text, now.tm_mon + 1, now.tm_mday, now.tm_year % 100, '/');
}

char* _strtime(char* text) {
    const tm& now = LocalTime(RealTime().tv_sec);
    return WriteTriple(text, now.tm_hour, now.tm_min, now.tm_sec, ':');
}

int _stricmp(const char* left, const char* right) {
    for (;; ++left, ++right) {
        const auto a = static_cast<unsigned char>(FoldCase(*left));
        const auto b = static_cast<unsigned char>(FoldCase(*right));
        if (a != b || a == 0) return Sign(a <=> b);
    }
}

int _strnicmp(const char* left, const char* right, std::size_t count) {
    return Sign(CompareWithoutCase({left, strnlen(left, count)}, {right, strnlen(right, count)}));
}

int wsprintfA(LPSTR buffer, LPCSTR format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, FormatLimit + 1, format, arguments);
    va_end(arguments);
    if (length < 0) buffer[0] = '\0';
    return std::clamp(length, 0, FormatLimit);
}
