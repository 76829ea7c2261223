#include "class_a/standard/ksl_text.h"

namespace ksl {

namespace {

// Reads the class after a `[` and moves `pattern` past its `]`. False if `c` is not of the class, or if
// the pattern ends before the class does.
bool match_class(const char*& pattern, signed char c) {
    const bool negated = *pattern == '^';
    if (negated) ++pattern;
    bool found = false;
    char previous = 0;  // 0: nothing a range could begin with
    for (; *pattern != ']'; ++pattern) {
        if (*pattern == 0) return false;
        if (*pattern == '-') {
            ++pattern;
            if (*pattern == 0) return false;
            if (previous != 0 && static_cast<signed char>(previous) <= c &&
                c <= static_cast<signed char>(*pattern)) {
                found = true;
            }
        } else if (static_cast<signed char>(*pattern) == c) {
            found = true;
        }
        previous = *pattern;
    }
    ++pattern;
    return found != negated;
}

// Matches the one character `c` with the element at `pattern`, and moves `pattern` past it.
bool match_one(const char*& pattern, char c) {
    switch (*pattern) {
        case 0:
            return false;
        case '?':
            ++pattern;
            return true;
        case '[':
            ++pattern;
            return match_class(pattern, static_cast<signed char>(c));
        case '\\':
            ++pattern;
            if (*pattern == 0) return false;
            break;
        default:
            break;
    }
    return *pattern++ == c;
}

}  // namespace

// Every element but `*` takes exactly one character. So when a match fails it is enough to let the last `*`
// take one more: what the stars before it took can stay. That bounds the work, where trying all of them would
// not.
bool wildcard_match(const std::string& pattern, const std::string& text) {
    const char* p = pattern.c_str();
    const char* t = text.c_str();
    const char* retryPattern = nullptr;  // after the last star
    const char* retryText = nullptr;     // the first character that this star hasn't taken
    while (*t != 0) {
        if (*p == '*') {
            while (*p == '*')
                ++p;
            if (*p == 0) return true;
            retryPattern = p;
            retryText = t;
        } else if (match_one(p, *t)) {
            ++t;
        } else {
            if (retryPattern == nullptr) return false;
            p = retryPattern;
            t = ++retryText;
        }
    }
    while (*p == '*')
        ++p;
    return *p == 0;
}

}  // namespace ksl
