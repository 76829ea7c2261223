#include "quillonctl/text/text_pieces.h"

#include <arpa/inet.h>
#include <sys/stat.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/linux/ini/ini_line.h"
#include "quillonctl/request_builder.h"

namespace quillonctl {
namespace {

constexpr std::string_view Blanks = " \t\r\n\v\f";

char LowerLetter(char letter) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

// "0:a0:c9" as "00:a0:c9".
std::string WithTwoDigits(std::string_view text) {
    std::string filled;
    std::size_t digits = 0;
    for (std::size_t at = 0; at <= text.size(); ++at) {
        const bool isDigit = at < text.size() && std::isxdigit(static_cast<unsigned char>(text[at])) != 0;
        if (!isDigit && digits == 1) filled.insert(filled.size() - 1, "0");
        digits = isDigit ? digits + 1 : 0;
        if (at < text.size()) filled += text[at];
    }
    return filled;
}

}  // namespace

std::optional<std::string> ReadWholeFile(const std::string& path, std::string& error) {
    struct stat status {};
    std::ifstream file;
    errno = 0;
    if (::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
        errno = EISDIR;
    else
        file.open(path, std::ios::binary);
    std::ostringstream text;
    if (file.is_open()) text << file.rdbuf();
    if (!file.is_open() || file.bad()) {
        error = path + ": " + std::strerror(errno != 0 ? errno : EIO);
        return std::nullopt;
    }
    return text.str();
}

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(Blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(Blanks) - first + 1);
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), LowerLetter);
    return lower;
}

bool SameText(std::string_view one, std::string_view other) {
    return std::ranges::equal(one, other, {}, LowerLetter, LowerLetter);
}

std::vector<std::string> Split(std::string_view text, std::string_view separators) {
    std::vector<std::string> pieces;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find_first_of(separators, begin), text.size());
        pieces.emplace_back(Trimmed(text.substr(begin, end - begin)));
        begin = end + 1;
    }
    return pieces;
}

std::vector<std::string> Words(std::string_view text) {
    std::vector<std::string> words = Split(text, Blanks);
    std::erase(words, "");
    return words;
}

std::vector<std::string_view> Lines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r')) line.remove_suffix(1);
        lines.push_back(line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

std::optional<std::uint32_t> ParseNumber(std::string_view text, std::uint32_t largest) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc() || end != text.data() + text.size() || number > largest) return std::nullopt;
    return number;
}

std::optional<std::uint32_t> AddressNumber(std::string_view text) {
    in_addr address{};
    if (::inet_pton(AF_INET, std::string(text).c_str(), &address) != 1) return std::nullopt;
    return ntohl(address.s_addr);
}

std::string AddressText(std::uint32_t address) {
    char text[INET_ADDRSTRLEN] = "";
    const in_addr bytes{htonl(address)};
    ::inet_ntop(AF_INET, &bytes, text, sizeof text);
    return text;
}

std::optional<std::uint32_t> MaskOfLength(std::string_view length) {
    const auto bits = ParseNumber(length, 32);
    if (!bits) return std::nullopt;
    return *bits == 0 ? 0 : ~std::uint32_t{0} << (32 - *bits);
}

unsigned LengthOfMask(std::uint32_t mask) {
    return static_cast<unsigned>(std::popcount(mask));
}

std::string IniValue(std::string_view value) {
    const bool hasOuterBlank = TrimBlanks(value).size() != value.size();
    const bool looksQuoted =
        value.size() >= 2 && value.front() == value.back() && (value.front() == '"' || value.front() == '\'');
    return hasOuterBlank || looksQuoted ? '"' + std::string(value) + '"' : std::string(value);
}

std::optional<std::string> SectionNameOf(std::string_view hardwareAddress) {
    const auto bytes = ParseHardwareAddress(WithTwoDigits(hardwareAddress));
    if (!bytes) return std::nullopt;
    std::string name;
    for (const std::uint8_t byte : *bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, name.empty() ? "%02x" : "-%02x", byte);
        name += digits;
    }
    return name;
}

}  // namespace quillonctl
