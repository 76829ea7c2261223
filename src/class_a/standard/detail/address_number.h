#pragma once

#include <cstddef>
#include <cstdint>

// Blocks of bytes as numbers with the most significant byte first.
namespace ksl {

// Adds two numbers of `size` bytes; the last carry is dropped.
void add_bytes(unsigned char* sum, const unsigned char* addend, std::size_t size);

// The number of at most 8 bytes.
std::uint64_t number_of_bytes(const unsigned char* bytes, std::size_t size);

}  // namespace ksl
