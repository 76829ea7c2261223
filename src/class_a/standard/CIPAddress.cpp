#include "class_a/standard/CIPAddress.h"

#include <bit>
#include <cstring>

#include "class_a/standard/detail/address_number.h"
#include "class_a/standard/detail/address_text.h"
#include "class_a/standard/detail/system_address.h"
#include "class_a/standard/ksl_throw.h"

namespace ksl {

namespace {

constexpr std::size_t kV4Length = 4;
constexpr std::size_t kV6Length = 16;

constexpr unsigned char kLoopbackV4[kV4Length] = {127, 0, 0, 1};
constexpr unsigned char kLoopbackV6[kV6Length] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};

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
    unsigned char bytes[kV4Length];
    if (!parse_ipv4(text, bytes)) return unknown;
    std::memcpy(&_v4, bytes, kV4Length);
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
    return fixed_width_text(raw_addr(), size());
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

CIPAddress& CIPAddress::operator+=(const CIPAddress& other) {
    if (_type != other._type)
        throw_exception(KSL_SITE("CIPAddress::operator+="), CMessage("Illegal operation."),
                        CMessage("Type mismatch between ip addresses."));
    unsigned char* const bytes = _raw();
    const CIPAddress addend(other);
    add_bytes(bytes, addend.raw_addr(), size());
    return *this;
}

CIPAddress& CIPAddress::operator-=(const CIPAddress& other) {
    if (_type != other._type)
        throw_exception(KSL_SITE("CIPAddress::operator-="), CMessage("Illegal operation."),
                        CMessage("Type mismatch between ip addresses."));
    raw_addr();  // as in createPrefix
    CIPAddress complement(other);
    ~complement;
    return *this += ++complement;
}

CIPAddress CIPAddress::createPrefix(unsigned bits) const {
    const unsigned total = static_cast<unsigned>(size()) * 8;
    if (bits > total)
        throw_exception(KSL_SITE("CIPAddress::createPrefix"),
                        CMessage("Cannot create prefix from ip address."),
                        CMessage("Address contains less than %1 bits.") << bits);
    raw_addr();  // there must be an address, and the failure names this object
    const long dropped = static_cast<long>(total - bits);
    CIPAddress prefix(*this);
    prefix >>= dropped;
    prefix <<= dropped;
    return prefix;
}

int CIPAddress::prefixLenFromMask(const CIPAddress& mask) {
    const auto refuse = [](const CThrowSite& site) {
        throw_exception(site, CMessage("Cannot calculate prefix length from subnet mask."),
                        CMessage("Subnet mask is invalid."));
    };
    const Category category = mask.category();
    if (category == broadcast || category == any) refuse(KSL_STATIC_SITE("CIPAddress::prefixLenFromMask"));
    const auto bits = static_cast<std::uint32_t>(number_of_bytes(mask.raw_addr(), 4));
    const int ones = std::popcount(bits);
    if (ones != std::countl_one(bits)) refuse(KSL_STATIC_SITE("CIPAddress::prefixLenFromMask"));
    return ones;
}

void CIPAddress::mapTo(Type type) {
    if (_type == type) return;
    if (type == ipv6) {
        unsigned char bytes[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
        std::memcpy(bytes + 12, &_v4, 4);
        std::memcpy(&_v6, bytes, sizeof bytes);
    } else if (type == ipv4) {
        if (!isV6MappedV4())
            throw_exception(KSL_SITE("CIPAddress::mapTo"),
                            CMessage("Cannot map address %1 to ipv4.") << string(),
                            CMessage("Address is not a v6-mapped-v4 address."));
        std::memcpy(&_v4, _v6bytes() + 12, 4);
    } else {
        throw_exception(KSL_SITE("CIPAddress::mapTo"), CMessage("Illegal operation."),
                        CMessage("Unknown address type cannot be mapped to another type."));
    }
    _type = type;
}

}  // namespace ksl
