#include "class_a/standard/CIPAddress.h"

#include <algorithm>
#include <cstring>

#include "class_a/standard/ksl_text.h"
#include "class_a/standard/ksl_throw.h"
#include "class_a/standard/system_address.h"

namespace ksl {

namespace {

constexpr std::size_t kV4Length = 4;
constexpr std::size_t kV6Length = 16;
// "255.255.255.255", and the text of fixed width.
constexpr std::size_t kLongestV4Text = 15;

constexpr unsigned char kLoopbackV4[kV4Length] = {127, 0, 0, 1};
constexpr unsigned char kLoopbackV6[kV6Length] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};

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

CIPAddress::CIPAddress(Type type) : _type(type) {}

CIPAddress::CIPAddress(const void* bytes, std::size_t length) : _type(unknown) {
    set(bytes, length);
}

CIPAddress::CIPAddress(in_addr address) : _type(ipv4), _v4(address) {}

CIPAddress::CIPAddress(in6_addr address) : _type(ipv6), _v6(address) {}

CIPAddress::CIPAddress(std::uint32_t value, Type type) : _type(type) {
    if (type == ipv4) std::memcpy(&_v4, &value, sizeof value);
    if (type == ipv6) std::memcpy(_raw() + kV6Length - sizeof value, &value, sizeof value);
}

CIPAddress::CIPAddress(const char* text) : _type(unknown) {
    _set(text);
}

CIPAddress::CIPAddress(std::string text) : _type(unknown) {
    _set(text.c_str());
}

CIPAddress& CIPAddress::operator=(in_addr address) {
    return *this = CIPAddress(address);
}

CIPAddress& CIPAddress::operator=(in6_addr address) {
    return *this = CIPAddress(address);
}

CIPAddress& CIPAddress::operator=(const char* text) {
    _set(text);
    return *this;
}

bool CIPAddress::set(const std::string& text) {
    _set(text.c_str());
    return true;
}

void CIPAddress::_set(const char* text) {
    if (text == nullptr) text = "";
    if (!_parse(text))
        throw_exception(KSL_SITE("CIPAddress::_set"), CMessage("Cannot create an ip address."),
                        CMessage("Text '%1' is not a valid IP address.") << text);
}

bool CIPAddress::_parse(const char* text) {
    clear(unknown);
    _type = std::strchr(text, ':') != nullptr ? _setV6(text) : _setV4(text);
    return isKnown();
}

CIPAddress::Type CIPAddress::_setV4(const std::string& text) {
    if (text.size() > kLongestV4Text) return unknown;
    unsigned char octets[kV4Length];
    std::size_t count = 0;
    for (std::size_t begin = 0;; ++count) {
        const std::size_t end = std::min(text.find('.', begin), text.size());
        if (count == kV4Length || !parse_octet(text.substr(begin, end - begin), octets[count]))
            return unknown;
        if (end == text.size()) break;
        begin = end + 1;
    }
    if (count + 1 != kV4Length) return unknown;
    std::memcpy(&_v4, octets, kV4Length);
    return ipv4;
}

CIPAddress::Type CIPAddress::_setV6(const char* text) {
    unsigned char bytes[kV6Length];
    if (!parse_ipv6(text, bytes)) return unknown;
    std::memcpy(&_v6, bytes, kV6Length);
    return ipv6;
}

bool CIPAddress::isValid(const std::string& text) {
    return CIPAddress(unknown)._parse(text.c_str());
}

void CIPAddress::clear(Type type) {
    _v4 = {};
    _v6 = {};
    _type = type;
}

bool CIPAddress::set(const void* bytes, std::size_t length) {
    unsigned char copy[kV6Length];
    const bool known = length == kV4Length || length == kV6Length;
    // The bytes may lie in this object, which is cleared first.
    if (known) std::memcpy(copy, bytes, length);
    clear(unknown);
    if (!known)
        throw_exception(KSL_SITE("CIPAddress::set"), CMessage("Illegal operation."),
                        CMessage("Address length does not match any known address type."));
    _type = length == kV4Length ? ipv4 : ipv6;
    std::memcpy(_raw(), copy, length);
    return true;
}

void CIPAddress::set_inaddr_any() {
    if (!isKnown())
        throw_exception(KSL_SITE("CIPAddress::set_inaddr_any"), CMessage("Illegal operation."),
                        CMessage("Unknown address types do not have an 'any' value."));
    std::memset(_raw(), 0, size());
}

void CIPAddress::setLoopback() {
    if (!isKnown())
        throw_exception(KSL_SITE("CIPAddress::setLoopback"), CMessage("Illegal operation."),
                        CMessage("Unknown address types do not have a loopback value."));
    std::memcpy(_raw(), _type == ipv4 ? kLoopbackV4 : kLoopbackV6, size());
}

std::size_t CIPAddress::size() const {
    if (_type == ipv4) return kV4Length;
    return _type == ipv6 ? kV6Length : 0;
}

int CIPAddress::addr_family() const {
    if (!isKnown())
        throw_exception(KSL_SITE("CIPAddress::addr_family"), CMessage("Illegal operation."),
                        CMessage("Unknown address types do not have an address family."));
    return _type == ipv4 ? AF_INET : AF_INET6;
}

const unsigned char* CIPAddress::raw_addr() const {
    if (!isKnown())
        throw_exception(KSL_SITE("CIPAddress::raw_addr"), CMessage("Illegal operation."),
                        CMessage("Unknown address types cannot provide raw address values."));
    return _type == ipv4 ? _v4bytes() : _v6bytes();
}

unsigned char* CIPAddress::_raw() {
    return const_cast<unsigned char*>(raw_addr());
}

std::string CIPAddress::string() const {
    if (!isKnown())
        throw_exception(KSL_SITE("CIPAddress::string"), CMessage("Illegal operation."),
                        CMessage("Unknown address types cannot be serialized."));
    return _type == ipv4 ? _v4string() : _v6string();
}

std::string CIPAddress::_v4string() const {
    std::string text;
    const int code = format_ipv4(_v4bytes(), text);
    if (code != 0)
        throw_exception(KSL_SITE("CIPAddress::_v4string"),
                        CMessage("Failed to convert ipv4 address to text."), CMessage(), code);
    return text;
}

std::string CIPAddress::_v6string() const {
    std::string text;
    const int code = format_ipv6(_v6bytes(), text);
    if (code != 0)
        throw_exception(KSL_SITE("CIPAddress::_v6string"),
                        CMessage("Failed to convert ipv6 address to text."), CMessage(), code);
    return text;
}

std::string CIPAddress::fat_string() const {
    if (!isKnown())
        throw_exception(KSL_SITE("CIPAddress::fat_string"), CMessage("Illegal operation."),
                        CMessage("Unknown address types cannot be serialized."));
    const unsigned char* const bytes = raw_addr();
    std::string text;
    if (_type == ipv4) {
        for (std::size_t i = 0; i < kV4Length; ++i)
            text += (i == 0 ? "" : ".") + padded(bytes[i], 10, 3);
    } else {
        for (std::size_t i = 0; i < kV6Length; i += 2)
            text += (i == 0 ? "" : ":") + padded(bytes[i] * 256U + bytes[i + 1], 16, 4);
    }
    return text;
}

bool CIPAddress::operator==(const CIPAddress& other) const {
    if (_type != other._type) return false;
    return std::memcmp(raw_addr(), other.raw_addr(), size()) == 0;
}

bool CIPAddress::operator>(const CIPAddress& other) const {
    if (!isKnown() || !other.isKnown())
        throw_exception(KSL_SITE("CIPAddress::operator>"), CMessage("Illegal operation."),
                        CMessage("Cannot compare ip addresses of unknown type."));
    if (_type != other._type) return _type == ipv6;
    return std::memcmp(raw_addr(), other.raw_addr(), size()) > 0;
}

bool CIPAddress::operator<(const CIPAddress& other) const {
    return *this == other ? false : !(*this > other);
}

}  // namespace ksl
