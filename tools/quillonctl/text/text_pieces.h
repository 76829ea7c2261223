// Taking text apart, as the commands that read configuration files need it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillonctl {

// The whole file; nothing if it can't be read, with the reason in `error`.
std::optional<std::string> ReadWholeFile(const std::string& path, std::string& error);

// Without blanks, tabs and line ends at both ends.
std::string_view Trimmed(std::string_view text);
std::string Lower(std::string_view text);
bool SameText(std::string_view one, std::string_view other);  // but for case

// The pieces between the separators, each trimmed; empty ones are kept.
std::vector<std::string> Split(std::string_view text, std::string_view separators);
// The words between blanks; none is empty.
std::vector<std::string> Words(std::string_view text);

// Without line ends. A last line needs none.
std::vector<std::string_view> Lines(std::string_view text);

// A decimal number without a sign, or a hexadecimal one with 0x; nothing above `largest`.
std::optional<std::uint32_t> ParseNumber(std::string_view text, std::uint32_t largest = 0xFFFFFFFF);

// An IPv4 address as a number in host order, and back.
std::optional<std::uint32_t> AddressNumber(std::string_view text);
std::string AddressText(std::uint32_t address);
// 24 gives 255.255.255.0; nothing for a length above 32.
std::optional<std::uint32_t> MaskOfLength(std::string_view length);
unsigned LengthOfMask(std::uint32_t mask);

// A value as an INI file has it: in quotes if the reader would take away blanks or quotes at its ends.
std::string IniValue(std::string_view value);

// A hardware address as a section's name: "00-a0-c9-11-22-33". Takes hyphens, colons and dots between the
// bytes, or nothing; between separators a byte may have one digit. Nothing for any other text.
std::optional<std::string> SectionNameOf(std::string_view hardwareAddress);

}  // namespace quillonctl
