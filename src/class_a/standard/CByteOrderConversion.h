#pragma once

#include <bit>
#include <cstdint>

namespace ksl {

// Between the order of bytes of this host and that of the network, for integers of 8 to 64 bits.
class CByteOrderConversion {
  public:
    virtual ~CByteOrderConversion();

    static constexpr bool isBigEndian() { return std::endian::native == std::endian::big; }

    static std::int8_t hton(std::int8_t value) { return value; }
    static std::uint8_t hton(std::uint8_t value) { return value; }
    static std::int16_t hton(std::int16_t value);
    static std::uint16_t hton(std::uint16_t value);
    static std::int32_t hton(std::int32_t value);
    static std::uint32_t hton(std::uint32_t value);
    static std::int64_t hton(std::int64_t value);
    static std::uint64_t hton(std::uint64_t value);

    static std::int8_t ntoh(std::int8_t value) { return value; }
    static std::uint8_t ntoh(std::uint8_t value) { return value; }
    static std::int16_t ntoh(std::int16_t value) { return hton(value); }
    static std::uint16_t ntoh(std::uint16_t value) { return hton(value); }
    static std::int32_t ntoh(std::int32_t value) { return hton(value); }
    static std::uint32_t ntoh(std::uint32_t value) { return hton(value); }
    static std::int64_t ntoh(std::int64_t value) { return hton(value); }
    static std::uint64_t ntoh(std::uint64_t value) { return hton(value); }

  private:
    static const bool _bigEndian;
};

}  // namespace ksl
