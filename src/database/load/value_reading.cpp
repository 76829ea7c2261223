#include "database/load/value_reading.h"

#include <charconv>
#include <cstring>
#include <limits>

namespace {

// 10 and above for what is no digit.
unsigned DigitAt(const char* text) {
    return static_cast<unsigned char>(*text) - unsigned{'0'};
}

// Four decimal numbers as people write them; nothing for any other form that `inet_addr` may know.
std::optional<IpAddress> ReadPlainAddress(const char* text) {
    IpAddress address;
    for (std::size_t at = 0; at < sizeof address.bytes; ++at) {
        if (at != 0 && *text++ != '.') return std::nullopt;
        unsigned number = DigitAt(text);
        if (number > 9) return std::nullopt;
        const bool isZero = number == 0;
        int digits = 1;
        for (++text; DigitAt(text) <= 9 && digits < 3; ++digits)
            number = number * 10 + DigitAt(text++);
        if ((isZero && digits > 1) || number > 255) return std::nullopt;
        address.bytes[at] = static_cast<BYTE>(number);
    }
    if (*text != '\0') return std::nullopt;
    return address;
}

// Unsigned digits after any blanks to the first other character, reduced to 32 bits.
DWORD ReadDigits(const char* text) {
    DWORD number = 0;
    for (text += std::strspn(text, " \t"); *text >= '0' && *text <= '9'; ++text) {
        number = number * 10 + static_cast<DWORD>(*text - '0');
    }
    return number;
}

// Without regard to case, and with any blanks after it.
bool IsInfinite(const char* text) {
    char word[sizeof "Infinite"] = {};
    const std::size_t length = std::strcspn(text, " \t");
    if (length >= sizeof word || text[length + std::strspn(text + length, " \t")] != '\0') return false;
    std::memcpy(word, text, length);
    return _stricmp(word, "Infinite") == 0;
}

}  // namespace

std::optional<std::int64_t> ReadDecimal(const char* text) {
    text += std::strspn(text, " \t\n\v\f\r");
    if (text[0] == '+' && text[1] != '-') ++text;
    std::int64_t number = 0;
    const auto parsed = std::from_chars(text, text + std::strlen(text), number);
    if (parsed.ec == std::errc::result_out_of_range) return std::nullopt;
    if (number < std::numeric_limits<std::int32_t>::min() ||
        number > std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    return number;
}

IpAddress ReadAddress(const char* text) {
    if (const auto plain = ReadPlainAddress(text)) return *plain;
    const DWORD wire = inet_addr(text);
    IpAddress address;
    static_assert(sizeof(address) == sizeof(wire));
    std::memcpy(&address, &wire, sizeof(address));
    return address;
}

std::optional<DWORD> ReadTime(const char* text) {
    text += std::strspn(text, " \t");
    if (IsInfinite(text)) return 0xFFFFFFFFu;
    const char* minutes = std::strchr(text, ':');
    const char* seconds = minutes == nullptr ? nullptr : std::strchr(minutes + 1, ':');
    if (seconds == nullptr) return std::nullopt;
    return ReadDigits(text) * 3600 + ReadDigits(minutes + 1) * 60 + ReadDigits(seconds + 1);
}
