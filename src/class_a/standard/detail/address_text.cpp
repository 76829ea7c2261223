#include "class_a/standard/detail/address_text.h"

#include <algorithm>

namespace ksl {

namespace {

// "255.255.255.255", and the text of fixed width.
constexpr std::size_t kLongestText = 15;
constexpr std::size_t kParts = 4;

bool parse_octet(const std::string& part, unsigned char& octet) {
    if (part.empty() || part.size() > 3) return false;
    unsigned value = 0;
    for (const char c : part) {
        if (c < '0' || c > '9') return false;
        value = value * 10 + static_cast<unsigned>(c - '0');
    }
    if (value > 255) return false;
    octet = static_cast<unsigned char>(value);
    return true;
}

std::string padded(unsigned value, unsigned base, std::size_t width) {
    std::string text(width, '0');
    for (std::size_t i = width; i-- > 0; value /= base)
        text[i] = "0123456789abcdef"[value % base];
    return text;
}

}  // namespace

bool parse_ipv4(const std::string& text, unsigned char (&bytes)[4]) {
    if (text.size() > kLongestText) return false;
    std::size_t count = 0;
    for (std::size_t begin = 0;; ++count) {
        const std::size_t end = std::min(text.find('.', begin), text.size());
        if (count == kParts || !parse_octet(text.substr(begin, end - begin), bytes[count])) return false;
        if (end == text.size()) break;
        begin = end + 1;
    }
    return count + 1 == kParts;
}

std::string fixed_width_text(const unsigned char* bytes, std::size_t size) {
    std::string text;
    if (size == kParts) {
        for (std::size_t i = 0; i < size; ++i)
            text += (i == 0 ? "" : ".") + padded(bytes[i], 10, 3);
    } else {
        for (std::size_t i = 0; i < size; i += 2)
            text += (i == 0 ? "" : ":") + padded(bytes[i] * 256U + bytes[i + 1], 16, 4);
    }
    return text;
}

}  // namespace ksl
