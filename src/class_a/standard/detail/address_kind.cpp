// What kind of address it is: its category and scope.

#include <algorithm>

#include "class_a/standard/CIPAddress.h"

namespace ksl {

namespace {

// Built on first use, by whichever thread comes first, and never destroyed: objects in static storage may use
// them while the process starts and ends.
struct KnownAddresses {
    const CIPAddress multicastFirst = "224.0.0.0";
    const CIPAddress multicastLast = "239.255.255.255";
    const CIPAddress loopbackV4 = "127.0.0.1";
    const CIPAddress loopbackV6 = "0000:0000:0000:0000:0000:0000:0000:0001";
    const CIPAddress mappedLoopback = "0000:0000:0000:0000:0000:ffff:7F00:0001";
    const CIPAddress mappedPrefix = "0000:0000:0000:0000:0000:ffff:0000:0000";
};

const KnownAddresses& known_addresses() {
    static const KnownAddresses* const addresses = new KnownAddresses();
    return *addresses;
}

constexpr unsigned kMappedPrefixBits = 96;

CIPAddress::Scope multicast_scope(const unsigned char* bytes) {
    switch (bytes[1] & 0x0f) {
        case 1:
            return CIPAddress::nodeLocal;
        case 2:
            return CIPAddress::linkLocal;
        case 5:
            return CIPAddress::siteLocal;
        case 8:
            return CIPAddress::orgLocal;
        case 14:
            return CIPAddress::global;
        default:
            return CIPAddress::noScope;
    }
}

bool all_bytes_are(unsigned char value, const unsigned char* bytes, std::size_t size) {
    return std::all_of(bytes, bytes + size, [value](unsigned char byte) { return byte == value; });
}

}  // namespace

bool CIPAddress::isV6MappedV4() const {
    return _type == ipv6 && createPrefix(kMappedPrefixBits) == known_addresses().mappedPrefix;
}

CIPAddress::Category CIPAddress::category() const {
    if (isAny()) return any;
    if (isAllOnes()) return broadcast;
    const KnownAddresses& known = known_addresses();
    if (_type == ipv4)
        return *this >= known.multicastFirst && *this <= known.multicastLast ? multicast : unicast;
    return raw_addr()[0] == 0xff ? multicast : unicast;
}

CIPAddress::Scope CIPAddress::scope() const {
    const Category kind = category();
    if (_type == ipv4) return kind == unicast && *this == known_addresses().loopbackV4 ? nodeLocal : global;
    switch (kind) {
        case broadcast:
            return noScope;
        case any:
            return global;
        case multicast:
            return multicast_scope(raw_addr());
        default:
            return _unicastScope();
    }
}

CIPAddress::Scope CIPAddress::_unicastScope() const {
    const KnownAddresses& known = known_addresses();
    if (*this == known.loopbackV6 || *this == known.mappedLoopback) return nodeLocal;
    const unsigned char* const bytes = raw_addr();
    const unsigned front = (bytes[0] * 256U + bytes[1]) & 0xffc0;
    if (front == 0xfe80) return linkLocal;
    if (front == 0xfec0) return siteLocal;
    return (bytes[0] & 0xe0) == 0x20 ? globalUnicast : global;
}

bool CIPAddress::isLinkLocal() const {
    return category() == unicast && scope() == linkLocal;
}

bool CIPAddress::isAny() const {
    return all_bytes_are(0, _v4bytes(), 4) && all_bytes_are(0, _v6bytes(), 16);
}

bool CIPAddress::isAllOnes() const {
    return all_bytes_are(0xff, raw_addr(), size());
}

}  // namespace ksl
