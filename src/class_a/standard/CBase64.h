#pragma once

#include <cstddef>
#include <string>

#include "class_a/standard/CHexStore.h"

// Base 64 text of the standard alphabet, padded with "=" to a multiple of four characters and without line
// breaks. Any thread may call these at any time. Failures are thrown as `ksl::CException`.
class CBase64 {
  public:
    virtual ~CBase64() = default;

    static std::string encode(const ksl::CHexStore& bytes);

    // Throws for a length that is no multiple of 4 and for a character outside the alphabet. Where the
    // padding stands is not tested: a group that ends in "=" is one byte shorter, and two if the character in
    // front is "=" too. The result has the separator "-".
    static ksl::CHexStore decode(const std::string& text);

  private:
    static void _split(const unsigned char* block, std::size_t size, unsigned char (&codes)[4]);
    static void _encodeBlock(const unsigned char* block, std::size_t size, std::string& text);
};
