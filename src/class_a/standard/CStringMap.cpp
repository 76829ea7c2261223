#include "class_a/standard/CStringMap.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "class_a/standard/ksl_text.h"

namespace {

char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

}  // namespace

bool less_string::operator()(const std::string& a, const std::string& b) const {
    if (_caseSensitive) return a < b;
    const std::size_t aLength = std::strlen(a.c_str());
    const std::size_t bLength = std::strlen(b.c_str());
    for (std::size_t i = 0; i < std::min(aLength, bLength); ++i) {
        const auto left = static_cast<signed char>(upper(a[i]));
        const auto right = static_cast<signed char>(upper(b[i]));
        if (left != right) return left < right;
    }
    // Only what follows a zero byte can make the strings differ in length now.
    return aLength != bLength ? aLength < bLength : a.size() < b.size();
}

namespace ksl {

namespace {

std::string text_or_empty(const char* text) {
    return text == nullptr ? "" : text;
}

void trim_blanks(std::string& text) {
    trim_right(text, ' ', 0);
    trim_right(text, '\t', 0);
    trim_left(text, ' ', 0);
    trim_left(text, '\t', 0);
}

// Strips an entry of its quotes and the blanks around it.
void unwrap(std::string& token, char quote) {
    if (quote != 0) trim_left(token, quote, 0);
    trim_left(token, ' ', 0);
    if (quote != 0) trim_right(token, quote, 0);
    trim_right(token, ' ', 0);
}

// Replaces the first `from`, then the first one of what results, until none is left. A replacement may bring
// one about that begins in front of it or ends after it, and that one counts too. If `to` isn't the shorter
// of the two, one that consists of replacements alone stays, or there might be no end.
std::string with_all_replaced(const std::string& text, const std::string& from, const std::string& to) {
    if (text.find(from) == std::string::npos) return text;
    const bool shrinks = to.size() < from.size();
    std::string result;
    std::string origins;  // of each character of the result: 't' for the text, 'r' for a replacement
    std::string pending;  // what is left of replacements, back to front
    for (std::size_t at = 0; at < text.size() || !pending.empty();) {
        origins += pending.empty() ? 't' : 'r';
        if (pending.empty()) {
            result += text[at++];
        } else {
            result += pending.back();
            pending.pop_back();
        }
        if (!result.ends_with(from)) continue;
        const std::size_t start = result.size() - from.size();
        if (!shrinks && origins.find('t', start) == std::string::npos) continue;
        result.resize(start);
        origins.resize(start);
        pending.append(to.rbegin(), to.rend());
    }
    return result;
}

}  // namespace

CStringMap::CStringMap(bool ignoreCase) : multimap(less_string(!ignoreCase)) {}

CStringMap::CStringMap(const char* text, const char* separator, char quote, bool ignoreCase)
    : CStringMap(text_or_empty(text), separator, quote, ignoreCase) {}

CStringMap::CStringMap(const std::string& text, const char* separator, char quote, bool ignoreCase)
    : CStringMap(ignoreCase) {
    if (separator != nullptr) _separator = separator;
    _quote = quote;
    parse(text);
}

CStringMap::CStringMap(const CStringMap& other) = default;

CStringMap::~CStringMap() = default;

CStringMap& CStringMap::operator=(const CStringMap& other) {
    if (this == &other) return *this;
    clear();
    return *this += other;
}

CStringMap& CStringMap::operator=(const char* text) {
    return *this = text_or_empty(text);
}

CStringMap& CStringMap::operator=(std::string text) {
    clear();
    parse(std::move(text));
    return *this;
}

bool CStringMap::set(const std::string& text) {
    return parse(text.c_str());
}

std::string CStringMap::string() const {
    return format("\n", true, "");
}

std::string CStringMap::format(std::string separator, bool terminate, const std::string& quote) const {
    if (separator.empty()) separator = _separator;
    std::string text;
    for (const auto& [key, value] : *this) {
        if (!text.empty()) text += separator;
        text.append(quote).append(key).append("=").append(value).append(quote);
    }
    if (terminate && !empty()) text += separator;
    return text;
}

void CStringMap::write(std::string& out) const {
    out = CStringMap::format(_separator, true, "");
}

const std::string& CStringMap::missing(const std::string& /*key*/) const {
    static const std::string* const none = new std::string();
    return *none;
}

CStringMap& CStringMap::operator+=(const CStringMap& other) {
    add(other);
    _separator = other._separator;
    _quote = other._quote;
    return *this;
}

void CStringMap::add(std::string key, std::string value) {
    emplace(std::move(key), std::move(value));
}

void CStringMap::add(const CStringMap& other) {
    // Reading the map while it grows by what is read would never come to its end.
    if (this == &other) return add(CStringMap(other));
    for (const auto& [key, value] : other)
        add(key, value);
}

void CStringMap::update(const CStringMap& other) {
    for (const auto& [key, value] : other)
        (*this)[key] = value;
}

bool CStringMap::parse(std::string text) {
    try {
        _insertEntries(text);
        return true;
    } catch (...) {
        return false;
    }
}

void CStringMap::_insertEntries(std::string_view rest) {
    std::string token;
    while (next_token(rest, _separator.c_str(), token, _quote)) {
        unwrap(token, _quote);
        if (token.empty()) continue;
        const std::size_t equals = token.find('=');
        if (equals == std::string::npos) {
            add(token, "");
            continue;
        }
        std::string key = token.substr(0, equals);
        std::string value = token.substr(equals + 1);
        trim_blanks(key);
        trim_blanks(value);
        add(std::move(key), std::move(value));
    }
}

std::string CStringMap::expand(const std::string& text) const {
    std::string result = process_control_chars(text);
    for (const auto& [key, value] : *this)
        result = with_all_replaced(result, '%' + key + '%', value);
    return result;
}

bool CStringMap::has(const std::string& key) const {
    return _first(key) != end();
}

bool CStringMap::hasValue(const std::string& key) const {
    const auto first = _first(key);
    return first != end() && !first->second.empty();
}

const std::string& CStringMap::get(const std::string& key) const {
    const auto first = _first(key);
    return first == end() ? missing(key) : first->second;
}

const std::string& CStringMap::get(const std::string& key, const std::string& fallback) const {
    const auto first = _first(key);
    return first == end() || first->second.empty() ? fallback : first->second;
}

std::string CStringMap::get(const char* key, const char* fallback) const {
    return get(std::string(key), fallback);
}

std::string CStringMap::get(const std::string& key, const char* fallback) const {
    return get(key, text_or_empty(fallback));
}

std::string CStringMap::get(const std::string& key, std::string&& fallback) const {
    return get(key, std::as_const(fallback));
}

std::string& CStringMap::operator[](const std::string& key) {
    const iterator first = lower_bound(key);
    if (first != end() && !key_comp()(key, first->first)) return first->second;
    return emplace_hint(first, key, "")->second;
}

// `find` may give any of several entries with one key.
CStringMap::const_iterator CStringMap::_first(const std::string& key) const {
    const auto first = lower_bound(key);
    return first == end() || key_comp()(key, first->first) ? end() : first;
}

}  // namespace ksl
