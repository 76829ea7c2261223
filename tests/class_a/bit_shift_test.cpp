#include <gtest/gtest.h>

#include <climits>
#include <random>

#include "class_a/failure.h"
#include "class_a/standard/CBitShift.h"

namespace {

using Bytes = std::vector<unsigned char>;

// The bit of the block `distance` places on, or 0 outside it.
bool bit(const Bytes& bytes, long index) {
    const long count = static_cast<long>(bytes.size()) * 8;
    return index >= 0 && index < count &&
           (bytes[static_cast<std::size_t>(index / 8)] >> (7 - index % 8) & 1) != 0;
}

TEST(BitShift, MovesEveryBit) {
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        Bytes source(random() % 18);
        for (auto& each : source)
            each = static_cast<unsigned char>(random());
        const long bits = static_cast<long>(random() % 160);
        Bytes left = source;
        Bytes right = source;
        ksl::CBitShift::left(left.data(), left.size(), bits);
        ksl::CBitShift::right(right.data(), right.size(), bits);
        for (long i = 0; i < static_cast<long>(source.size()) * 8; ++i) {
            ASSERT_EQ(bit(left, i), bit(source, i + bits)) << source.size() << " bytes by " << bits;
            ASSERT_EQ(bit(right, i), bit(source, i - bits)) << source.size() << " bytes by " << bits;
        }
    }
}

TEST(BitShift, EndsOnAnyDistance) {
    Bytes bytes{0x80, 0x01};
    ksl::CBitShift::left(bytes.data(), 0, LONG_MAX);
    EXPECT_EQ(failure_of([&] { ksl::CBitShift::left(bytes.data(), bytes.size(), -1); }),
              "CBitShift::left: Cannot left shift by -1 bits. (Negative shift is not supported.)");
    EXPECT_EQ(failure_of([&] { ksl::CBitShift::right(bytes.data(), bytes.size(), LONG_MIN); }),
              "CBitShift::right: Cannot right shift by " + std::to_string(LONG_MIN) +
                  " bits. (Negative shift is not supported.)");
    EXPECT_EQ(bytes, (Bytes{0x80, 0x01}));
    ksl::CBitShift::right(bytes.data(), bytes.size(), LONG_MAX);
    EXPECT_EQ(bytes, (Bytes{0, 0}));
}

}  // namespace
