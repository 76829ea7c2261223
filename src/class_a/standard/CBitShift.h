#pragma once

#include <cstddef>

namespace ksl {

// Shifts a block of bytes in place, as one number with its most significant byte first. What leaves the block
// is lost, and zeros come in. A negative `bits` throws a CException.
class CBitShift {
  public:
    static void left(unsigned char* data, std::size_t length, long bits);
    static void right(unsigned char* data, std::size_t length, long bits);
};

}  // namespace ksl
