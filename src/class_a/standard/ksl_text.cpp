#include "class_a/standard/ksl_text.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "class_a/standard/ksl_throw.h"

namespace ksl {

namespace {

constexpr const char* kSeparators = "/\\";

// Finds a character that stands outside quotes, in either direction.
template <class Iterator>
Iterator find_unquoted(Iterator first, Iterator last, char wanted, char quote) {
    bool quoted = false;
    return std::find_if(first, last, [&](char c) {
        if (quote != 0 && c == quote) quoted = !quoted;
        return c == wanted && !quoted;
    });
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool same_letter(char a, char b) {
    return lower(a) == lower(b);
}

// Stores the first `size` characters, and drops them and `dropped` more.
void take_front(std::string_view& text, std::size_t size, std::size_t dropped, std::string& token) {
    token = text.substr(0, size);
    text.remove_prefix(size + dropped);
}

// Takes a token off a string as off a view.
template <class Separator>
bool cut_front(std::string& text, Separator separator, std::string& token, char quote) {
    std::string_view rest = text;
    const bool found = next_token(rest, separator, token, quote);
    text.erase(0, text.size() - rest.size());
    return found;
}

template <class Iterator>
unsigned count_front(Iterator first, Iterator last, char c, unsigned limit) {
    unsigned count = 0;
    for (; first != last && *first == c && (limit == 0 || count < limit); ++first)
        ++count;
    return count;
}

}  // namespace

bool next_token(std::string_view& text, char separator, std::string& token, char quote) {
    if (text.empty()) return false;
    const auto end = find_unquoted(text.begin(), text.end(), separator, quote);
    const auto size = static_cast<std::size_t>(end - text.begin());
    take_front(text, size, end == text.end() ? 0 : 1, token);
    return true;
}

bool next_token(std::string_view& text, const char* separator, std::string& token, char closing) {
    if (text.empty()) return false;
    const std::string_view divider = separator == nullptr ? "" : separator;
    std::size_t at = divider.empty() ? std::string_view::npos : text.find(divider);
    while (at != std::string_view::npos && closing != 0 && at != 0 && text[at - 1] != closing)
        at = text.find(divider, at + 1);
    const bool found = at != std::string_view::npos;
    take_front(text, found ? at : text.size(), found ? divider.size() : 0, token);
    return true;
}

bool next_token(std::string& text, char separator, std::string& token, char quote) {
    return cut_front(text, separator, token, quote);
}

bool next_token(std::string& text, const char* separator, std::string& token, char closing) {
    return cut_front(text, separator, token, closing);
}

bool last_token(std::string& text, char separator, std::string& token, char quote) {
    if (text.empty()) return false;
    const auto start = find_unquoted(text.rbegin(), text.rend(), separator, quote);
    const bool found = start != text.rend();
    token.assign(start.base(), text.end());
    text.erase(found ? start.base() - 1 : text.begin(), text.end());
    return true;
}

void split(std::string text, std::vector<std::string>& tokens, char separator, char quote) {
    std::string_view rest = text;
    std::string token;
    while (next_token(rest, separator, token, quote))
        tokens.push_back(token);
}

void split_path(const std::string& path, std::string& directory, std::string& file) {
    const std::string whole = path;  // an output may be the input
    const std::size_t at = whole.find_last_of(kSeparators);
    directory = at == std::string::npos ? "" : whole.substr(0, at);
    file = at == std::string::npos ? whole : whole.substr(at + 1);
}

unsigned trim_left(std::string& text, char c, unsigned limit) {
    const unsigned count = count_front(text.begin(), text.end(), c, limit);
    text.erase(0, count);
    return count;
}

unsigned trim_right(std::string& text, char c, unsigned limit) {
    const unsigned count = count_front(text.rbegin(), text.rend(), c, limit);
    text.resize(text.size() - count);
    return count;
}

void trim_left_any(std::string& text, const std::string& set) {
    text.erase(0, text.find_first_not_of(set));
}

void trim_right_any(std::string& text, const std::string& set) {
    text.erase(text.find_last_not_of(set) + 1);  // npos + 1 is 0
}

bool contains_char(char c, const std::string& set) {
    return set.find(c) != std::string::npos;
}

std::string strip(const std::string& text) {
    const std::string blanks = " \n\t";
    std::string result = text;
    trim_right_any(result, blanks);
    trim_left_any(result, blanks);
    trim_left(result, '"', 0);
    trim_right(result, '"', 0);
    return result;
}

std::string quote(const std::string& text) {
    std::string result = text;
    trim_left(result, '"', 0);
    trim_right(result, '"', 0);
    return '"' + result + '"';
}

bool iequals(const char* a, const char* b) {
    if (a == nullptr || b == nullptr) return a == b;
    while (*a != 0 && same_letter(*a, *b)) {
        ++a;
        ++b;
    }
    return same_letter(*a, *b);
}

bool iequals(std::string a, std::string b) {
    return iequals(a.c_str(), b.c_str());
}

bool is_bracketed(std::string text) {
    trim_left(text, ' ', 0);
    trim_right(text, ' ', 0);
    return !text.empty() && text.front() == '[' && text.back() == ']';
}

bool clean_relative_path(std::string& path) {
    const std::string outside = "/\\.";
    trim_left_any(path, outside);
    trim_right_any(path, outside);
    return !path.empty() && path.find("..") == std::string::npos;
}

std::string replace_char(const std::string& text, char c, const std::string& replacement) {
    std::string result;
    for (const char each : text) {
        if (each == c) {
            result += replacement;
        } else {
            result += each;
        }
    }
    return result;
}

bool replace_first(std::string& text, std::string from, const std::string& to) {
    if (text.empty()) return false;
    for (std::size_t at = 0; at < text.size() && from.size() <= text.size() - at; ++at) {
        if (text[at] == '\\') {
            ++at;
        } else if (std::equal(from.begin(), from.end(), text.begin() + static_cast<std::ptrdiff_t>(at),
                              same_letter)) {
            text.replace(at, from.size(), std::string(to));
            return true;
        }
    }
    return false;
}

std::wstring widen(const std::string& text) {
    std::wstring result;
    result.reserve(text.size());
    for (const char c : text) {
        const auto extended = static_cast<std::int16_t>(static_cast<signed char>(c));
        result += static_cast<wchar_t>(static_cast<std::uint16_t>(extended));
    }
    return result;
}

std::string process_control_chars(const std::string& text) {
    const std::string input = text.c_str();
    std::string result;
    for (std::size_t at = 0; at < input.size(); ++at) {
        if (input[at] != '\\' || at + 1 == input.size()) {
            result += input[at];
            continue;
        }
        const char escaped = input[++at];
        if (escaped == 'n') {
            result += '\n';
        } else if (escaped == 'r') {
            result += '\r';
        } else if (escaped == 'x') {
            if (input.size() - at <= 2) {
                throw_exception(KSL_STATIC_SITE("::process_control_chars"),
                                CMessage("Cannot process control characters in text '%1'.") << text,
                                CMessage("Insufficient digits for a hex escape sequence."));
            }
            // Reading stops at the first character that is no digit.
            result += static_cast<char>(std::strtoul(input.substr(at + 1, 2).c_str(), nullptr, 16));
            at += 2;
        } else {
            result += escaped;
        }
    }
    return result;
}

std::string escape_control_chars(const std::string& text) {
    constexpr const char* kDigits = "0123456789ABCDEF";
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n') {
            result += "\\n";
        } else if (c == '\r') {
            result += "\\r";
        } else if (c == '"' || c == '\\') {
            result += {'\\', c};
        } else if (byte < 32 || byte >= 128) {
            result += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
        } else {
            result += c;
        }
    }
    return result;
}

}  // namespace ksl
