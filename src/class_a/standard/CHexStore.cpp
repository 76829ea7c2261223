#include "class_a/standard/CHexStore.h"

#include <cstring>
#include <utility>

#include "class_a/standard/CIPAddress.h"
#include "class_a/standard/ksl_throw.h"

namespace ksl {

static constexpr char kDefaultSeparator[] = "-";

static const char* separator_or_default(const char* separator) {
    return separator == nullptr ? kDefaultSeparator : separator;
}

CHexStore::CHexStore(std::size_t capacity, std::string separator)
    : _buffer(capacity), _separator(std::move(separator)) {}

CHexStore::CHexStore(std::string text, std::string separator, std::size_t capacity)
    : CHexStore(capacity, std::move(separator)) {
    CHexStore::set(text);
}

CHexStore::CHexStore(const char* text, const char* separator, std::size_t capacity)
    : CHexStore(capacity, separator_or_default(separator)) {
    CHexStore::set(text);
}

CHexStore::CHexStore(const void* bytes, std::size_t length, const char* separator, std::size_t capacity)
    : CHexStore(capacity, separator_or_default(separator)) {
    set(bytes, length);
}

CHexStore::CHexStore(const CHexStore& other) = default;

CHexStore::~CHexStore() = default;

CHexStore& CHexStore::operator=(const CHexStore& other) = default;

CHexStore& CHexStore::operator=(const char* text) {
    _separator = kDefaultSeparator;
    set(text);
    return *this;
}

CHexStore& CHexStore::operator=(const CIPAddress& address) {
    clear();
    append(address.raw_addr(), address.size());
    return *this;
}

bool CHexStore::set(const std::string& text) {
    return set(text.c_str());
}

bool CHexStore::set(const char* text) {
    clear();
    if (text == nullptr) return true;
    const std::size_t step = 2 + _separator.size();
    std::size_t left = std::strlen(text);
    while (left != 0) {
        push_back(_hex2Byte(text));
        if (left <= step) break;
        text += step;
        left -= step;
    }
    return true;
}

std::string CHexStore::string() const {
    std::string text;
    text.reserve(size() * (2 + _separator.size()));
    for (std::size_t i = 0; i < size(); ++i) {
        char pair[2];
        _byte2Hex(at(i), pair);
        if (i != 0) text += _separator;
        text.append(pair, sizeof pair);
    }
    return text;
}

void CHexStore::set(const void* bytes, std::size_t length) {
    clear();
    append(bytes, length);
}

void CHexStore::append(const void* bytes, std::size_t length) {
    if (bytes != nullptr && length != 0) _buffer.append(static_cast<const unsigned char*>(bytes), length);
}

void CHexStore::insert(CBufferIterator<unsigned char, 64> position, unsigned char value) {
    _buffer.insert(position.index(), value);
}

CHexStore& CHexStore::operator+=(const CHexStore& other) {
    append(other.data(), other.size());
    return *this;
}

void CHexStore::_byte2Hex(unsigned char byte, char* out) const {
    static constexpr char digits[] = "0123456789ABCDEF";
    out[0] = digits[byte >> 4];
    out[1] = digits[byte & 0x0f];
}

unsigned char CHexStore::_hex2Byte(const char* pair) const {
    const unsigned high = _char2Nybble(pair[0]);
    return static_cast<unsigned char>(16 * high + _char2Nybble(pair[1]));
}

unsigned char CHexStore::_char2Nybble(char c) const {
    if (c >= '0' && c <= '9') return static_cast<unsigned char>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<unsigned char>(c - 'A' + 10);
    if (c >= 'a' && c <= 'f') return static_cast<unsigned char>(c - 'a' + 10);
    throw_exception(KSL_SITE("CHexStore::_char2Nybble"), CMessage("Cannot convert character to nybble."),
                    CMessage("Invalid hexadecimal character '%1'.") << std::string(1, c));
}

}  // namespace ksl
