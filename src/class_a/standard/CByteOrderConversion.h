#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace ksl {

// Between the order of bytes of this host and that of the network, for integers of 8 to 64 bits. The result
// has the type of the argument.
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

    // Integers of the same widths that are another type to the compiler: `long long` or `long`, as the
    // platform has it, and the types of characters.
    template <std::integral Integer>
    static Integer hton(Integer value) {
        return static_cast<Integer>(hton(static_cast<OfWidth<sizeof(Integer)>>(value)));
    }
    template <std::integral Integer>
    static Integer ntoh(Integer value) {
        return hton(value);
    }

  private:
    template <std::size_t Bytes>
    using OfWidth =
        std::conditional_t<Bytes == 1, std::uint8_t,
                           std::conditional_t<Bytes == 2, std::uint16_t,
                                              std::conditional_t<Bytes == 4, std::uint32_t, std::uint64_t>>>;

    static const bool _bigEndian;
};

}  // namespace ksl
