#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "class_a/standard/CObject.h"
#include "ksl_address_types.h"

namespace ksl {

// One IPv4 address, one IPv6 address, or no address at all.
//
// Addresses are in network byte order: byte 0 is the most significant one for every operation here.
// Arithmetic takes the address as one big number that wraps at its 32 or 128 bits.
//
// Failures are thrown as `CException`. Unless said otherwise they leave the object as it was. An object may
// be read by several threads at once; its owner serialises writing.
class CIPAddress : public CObject {
  public:
    enum Type : std::uint32_t { ipv4 = 4, ipv6 = 6, unknown = 255 };
    enum Category { unicast = 0, multicast = 1, broadcast = 2, any = 3 };
    enum Scope {
        nodeLocal = 0,
        linkLocal = 1,
        siteLocal = 2,
        orgLocal = 3,
        global = 4,
        globalUnicast = 5,
        noScope = 6
    };

    // The all-zero address of a kind, or no address for `unknown`.
    CIPAddress(Type type);
    // See `set(bytes, length)`.
    CIPAddress(const void* bytes, std::size_t length);
    CIPAddress(in_addr address);
    CIPAddress(in6_addr address);
    // `value` lies in memory as the four bytes of the address, so it is in network byte order. For `ipv6` it
    // becomes the last four bytes after twelve zeros; for `unknown` it is dropped.
    CIPAddress(std::uint32_t value, Type type);
    // See `set(text)`; a null text counts as an empty one.
    CIPAddress(const char* text);
    CIPAddress(std::string text);

    CIPAddress& operator=(in_addr address);
    CIPAddress& operator=(in6_addr address);
    CIPAddress& operator=(const char* text);

    // Reads text of either family, up to its first zero byte. With a colon it is IPv6 by the platform's
    // grammar. Without one it is four decimal parts of 1 to 3 digits, in which leading zeros mean nothing.
    // Refused text throws and leaves the object `unknown`.
    bool set(const std::string& text) override;
    // The platform's standard text. Throws when `unknown`, as does `fat_string`.
    std::string string() const override;
    // The text of fixed width: "010.000.000.001", or eight groups of four lower case hexadecimal digits.
    std::string fat_string() const;
    // True when `set` would accept the text.
    static bool isValid(const std::string& text);

    // Makes the object the all-zero address of a kind, or no address.
    void clear(Type type);
    // Takes 4 or 16 bytes in network byte order, which may be those of this object. Any other length throws
    // and leaves the object `unknown`. Returns true.
    bool set(const void* bytes, std::size_t length);
    // Makes it 0.0.0.0 or ::, whichever has its kind; throws when `unknown`, as does the next.
    void set_inaddr_any();
    // Makes it 127.0.0.1 or ::1.
    void setLoopback();

    Type type() const { return _type; }
    bool isKnown() const { return _type != unknown; }
    // Bytes of the address: 4, 16, or 0 when `unknown`.
    std::size_t size() const;
    // The platform's `AF_INET` or `AF_INET6`. Throws when `unknown`.
    int addr_family() const;
    // The `size()` bytes of the address, valid as long as the object. Throws when `unknown`, and so do all
    // operations below that work on those bytes.
    const unsigned char* raw_addr() const;
    // The address as a number, rounded where 128 bits outgrow a double; 0 when `unknown`.
    double toDouble() const;

    // Arithmetic modulo 2^32 or 2^128. Operands of different kinds throw.

    CIPAddress& operator+=(const CIPAddress& other);
    CIPAddress& operator-=(const CIPAddress& other);
    CIPAddress operator+(const CIPAddress& other) const { return CIPAddress(*this) += other; }
    CIPAddress operator-(const CIPAddress& other) const { return CIPAddress(*this) -= other; }
    CIPAddress& operator++();
    CIPAddress& operator--();
    CIPAddress operator++(int);
    CIPAddress operator--(int);

    // Bit by bit. That both operands have the same kind is the caller's duty. Bytes that only one of the
    // addresses has stay as they are.

    CIPAddress& operator|=(const CIPAddress& other);
    CIPAddress& operator&=(const CIPAddress& other);
    CIPAddress& operator^=(const CIPAddress& other);
    CIPAddress operator|(const CIPAddress& other) const { return CIPAddress(*this) |= other; }
    CIPAddress operator&(const CIPAddress& other) const { return CIPAddress(*this) &= other; }
    CIPAddress operator^(const CIPAddress& other) const { return CIPAddress(*this) ^= other; }
    // Complements the object itself and returns a copy of the result.
    CIPAddress operator~();
    // Shift towards the front or the back of the address; zeros come in. A negative count throws.
    CIPAddress& operator<<=(long bits);
    CIPAddress& operator>>=(long bits);

    // Addresses of different kinds are unequal, and every IPv6 address is greater than every IPv4 address.
    // Comparing two `unknown` objects throws; so does ordering when either is `unknown`.

    bool operator==(const CIPAddress& other) const;
    bool operator!=(const CIPAddress& other) const { return !(*this == other); }
    bool operator>(const CIPAddress& other) const;
    bool operator<(const CIPAddress& other) const;
    bool operator<=(const CIPAddress& other) const { return *this < other || *this == other; }
    bool operator>=(const CIPAddress& other) const { return *this > other || *this == other; }

    // The address with only its first `bits` bits kept. Throws when it has fewer.
    CIPAddress createPrefix(unsigned bits) const;
    // The number of leading one bits of a subnet mask. Throws for all zeros, for all ones and for a mask with
    // a gap. Of an IPv6 mask only the first 32 bits are read.
    static int prefixLenFromMask(const CIPAddress& mask);

    // Turns 1.2.3.4 into ::ffff:1.2.3.4 and back, in place. The bytes of the former kind stay stored, where
    // only `isAny` sees them. Throws when the target is `unknown`, or when it is `ipv4` and the address is
    // not a mapped one.
    void mapTo(Type type);
    // The address lies in ::ffff:0:0/96.
    bool isV6MappedV4() const;

    // An `unknown` object is of category `any`.
    Category category() const;
    Scope scope() const;
    bool isLinkLocal() const;
    // All that is stored is zero, for both kinds.
    bool isAny() const;
    bool isAllOnes() const;

  private:
    void _set(const char* text);
    bool _parse(const char* text);
    Type _setV4(const std::string& text);
    Type _setV6(const char* text);
    std::string _v4string() const;
    std::string _v6string() const;
    Scope _unicastScope() const;
    unsigned char* _raw();
    const unsigned char* _v4bytes() const { return reinterpret_cast<const unsigned char*>(&_v4); }
    const unsigned char* _v6bytes() const { return reinterpret_cast<const unsigned char*>(&_v6); }

    Type _type;
    in_addr _v4 = {};
    in6_addr _v6 = {};
};

}  // namespace ksl
