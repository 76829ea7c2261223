// A hardware address of any length that an interface can have.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

struct HardwareAddress {
    static constexpr std::size_t Longest = 32;

    std::array<std::uint8_t, Longest> bytes{};  // zero from `length` on
    std::size_t length = 0;

    bool operator==(const HardwareAddress&) const = default;
};

// Two hexadecimal digits a byte, with or without one separator between two bytes that is neither letter nor
// digit: "00-a0-24-12-34-56", "00:A0:24:12:34:56", "00a024123456". Nothing if the text is anything else.
std::optional<HardwareAddress> ParseHardwareAddress(std::string_view text);
