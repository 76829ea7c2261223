// Text compared without case: ASCII letters only, whatever the locale.
#pragma once

#include <algorithm>
#include <compare>
#include <cstdint>
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

// Equal texts but for case have equal hashes.
constexpr std::uint32_t HashWithoutCase(std::string_view text) {
    std::uint64_t hash = 0xCBF29CE484222325u;
    for (const char c : text)
        hash = (hash ^ static_cast<unsigned char>(FoldCase(c))) * 0x100000001B3u;
    return static_cast<std::uint32_t>((hash ^ hash >> 29) * 0x9E3779B97F4A7C15u >> 32);
}
