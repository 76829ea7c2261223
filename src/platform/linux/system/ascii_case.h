// Text compared without case: ASCII letters only, whatever the locale.
#pragma once

#include <algorithm>
#include <compare>
#include <cstdint>
#include <cstring>
#include <string_view>

constexpr char FoldCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

// Orders by bytes as unsigned numbers, after folding.
constexpr std::strong_ordering CompareWithoutCase(std::string_view left, std::string_view right) {
    const std::size_t shared = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < shared; ++i) {
        const auto a = static_cast<unsigned char>(FoldCase(left[i]));
        const auto b = static_cast<unsigned char>(FoldCase(right[i]));
        if (a != b) return a <=> b;
    }
    return left.size() <=> right.size();
}

constexpr bool EqualWithoutCase(std::string_view left, std::string_view right) {
    return left.size() == right.size() && (left == right || CompareWithoutCase(left, right) == 0);
}

// Equal texts but for case have equal hashes. So have texts that differ elsewhere in the bit that tells the
// cases of a letter apart, which doesn't happen often.
inline std::uint32_t HashWithoutCase(std::string_view text) {
    constexpr std::uint64_t CaseBits = 0x2020202020202020u;
    constexpr std::uint64_t Factor = 0x9E3779B97F4A7C15u;
    std::uint64_t hash = text.size();
    for (std::size_t at = 0; at < text.size(); at += sizeof(hash)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + at, std::min(text.size() - at, sizeof(word)));
        hash = (hash ^ (word | CaseBits)) * Factor;
        hash ^= hash >> 32;
    }
    return static_cast<std::uint32_t>(hash * Factor >> 32);
}
