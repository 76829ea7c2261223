#include "platform/linux/registry/registry_value_text.h"

#include <charconv>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <utility>

#include <utf8cpp/utf8.h>

#include "platform/linux/faces/registry.h"
#include "platform/linux/ini/ini_line.h"
#include "platform/linux/registry/registry_text.h"
#include "platform/linux/system/ascii_case.h"

namespace {

bool IsText(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ;
}

std::optional<DWORD> Hexadecimal(std::string_view text, std::size_t mostDigits) {
    DWORD value = 0;
    if (text.empty() || text.size() > mostDigits) return std::nullopt;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (error != std::errc() || stop != text.data() + text.size()) return std::nullopt;
    return value;
}

// Takes a text in quotes off `rest`; nothing if it doesn't begin with one that ends.
std::optional<std::string> TakeQuoted(std::string_view& rest) {
    if (!rest.starts_with('"')) return std::nullopt;
    std::string text;
    for (std::size_t i = 1; i < rest.size(); ++i) {
        if (rest[i] == '"') {
            rest.remove_prefix(i + 1);
            return text;
        }
        if (rest[i] == '\\' && ++i == rest.size()) return std::nullopt;
        text += rest[i];
    }
    return std::nullopt;
}

// The number in `prefix(N):`, which is taken off `rest`.
std::optional<DWORD> TakeTypePrefix(std::string_view& rest, std::string_view prefix) {
    if (!EqualWithoutCase(rest.substr(0, prefix.size()), prefix)) return std::nullopt;
    const std::string_view afterPrefix = rest.substr(prefix.size());
    const std::size_t end = afterPrefix.find("):");
    if (!afterPrefix.starts_with('(') || end == std::string_view::npos) return std::nullopt;
    const std::optional<DWORD> type = Hexadecimal(afterPrefix.substr(1, end - 1), 8);
    if (type) rest = afterPrefix.substr(end + 2);
    return type;
}

bool TakePrefix(std::string_view& rest, std::string_view prefix) {
    if (!EqualWithoutCase(rest.substr(0, prefix.size()), prefix)) return false;
    rest.remove_prefix(prefix.size());
    return true;
}

std::optional<std::string> Bytes(std::string_view list) {
    std::string bytes;
    list = TrimBlanks(list);
    while (!list.empty()) {
        const std::size_t comma = list.find(',');
        const std::optional<DWORD> byte = Hexadecimal(TrimBlanks(list.substr(0, comma)), 2);
        if (!byte) return std::nullopt;
        bytes += static_cast<char>(*byte);
        if (comma == std::string_view::npos) break;
        list.remove_prefix(comma + 1);
        if (list.empty()) return std::nullopt;
    }
    return bytes;
}

std::optional<std::string> TextFromUtf16(const std::string& bytes) try {
    if (bytes.size() % 2 != 0) return std::nullopt;
    std::u16string units;
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        units += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                       static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
    if (units.empty() || units.back() != u'\0') units += u'\0';
    return utf8::utf16to8(units);
} catch (const utf8::exception&) {
    return std::nullopt;
}

std::string BytesOf(DWORD number) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(number >> shift);
    return bytes;
}

ParsedRegistryValue Fault(const char* what) {
    return {{}, false, what};
}

ParsedRegistryValue ParseText(std::string name, DWORD type, std::string_view rest) {
    std::optional<std::string> text = TakeQuoted(rest);
    if (!text) return Fault("a text without its closing quote");
    if (!rest.empty()) return Fault("something after the closing quote");
    return {{std::move(name), type, std::move(*text) + '\0'}, true, {}};
}

ParsedRegistryValue ParseNumber(std::string name, std::string_view digits) {
    constexpr std::size_t AllDigits = 8;
    const std::optional<DWORD> number = Hexadecimal(digits, AllDigits);
    if (!number) return Fault("'dword:' takes up to eight hexadecimal digits");
    return {{std::move(name), REG_DWORD, BytesOf(*number)}, digits.size() == AllDigits, {}};
}

ParsedRegistryValue ParseBytes(std::string name, DWORD type, std::string_view list) {
    std::optional<std::string> bytes = Bytes(list);
    if (!bytes) return Fault("'hex' takes bytes of two hexadecimal digits, separated by commas");
    if (IsText(type)) bytes = TextFromUtf16(*bytes);
    if (!bytes) return Fault("the bytes are no text in UTF-16");
    return {{std::move(name), type, std::move(*bytes)}, false, {}};
}

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

std::string ByteList(std::string_view bytes) {
    std::string list;
    for (const char c : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof(digits), list.empty() ? "%02x" : ",%02x", static_cast<unsigned char>(c));
        list += digits;
    }
    return list;
}

std::string Utf16From(std::string_view text) try {
    std::string bytes;
    for (const char16_t unit : utf8::utf8to16(text)) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes;
} catch (const utf8::exception&) {
    throw std::invalid_argument("a text that has no form in the registry's file");
}

// Fits between quotes on one line.
bool IsPlain(std::string_view text) {
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) return false;
    }
    return true;
}

std::string HexText(DWORD type, std::string_view bytes) {
    if (type == REG_BINARY) return "hex:" + ByteList(bytes);
    char prefix[16];
    std::snprintf(prefix, sizeof(prefix), "hex(%x):", static_cast<unsigned>(type));
    return prefix + ByteList(bytes);
}

std::string DataText(const RegistryValue& value) {
    std::string_view data = value.data;
    if (IsText(value.type)) {
        if (data.ends_with('\0')) data.remove_suffix(1);
        if (!IsPlain(data)) return HexText(value.type, Utf16From(value.data));
        return (value.type == REG_EXPAND_SZ ? "str(2):" : "") + Quoted(data);
    }
    if (value.type == REG_DWORD && data.size() == 4) {
        DWORD number = 0;
        for (int i = 3; i >= 0; --i)
            number = number << 8 | static_cast<unsigned char>(data[static_cast<std::size_t>(i)]);
        char text[16];
        std::snprintf(text, sizeof(text), "dword:%08x", static_cast<unsigned>(number));
        return text;
    }
    return HexText(value.type, data);
}

}  // namespace

ParsedRegistryValue ParseRegistryValue(std::string_view text) {
    std::string name;
    if (text.starts_with('@')) {
        text.remove_prefix(1);
    } else if (std::optional<std::string> quoted = TakeQuoted(text); quoted) {
        name = std::move(*quoted);
    } else {
        return Fault("expected a key, a value or a comment");
    }
    text = TrimBlanks(text);
    if (!text.starts_with('=')) return Fault("a value without an equals sign");
    text = TrimBlanks(text.substr(1));
    if (text.starts_with('"')) return ParseText(std::move(name), REG_SZ, text);
    if (TakePrefix(text, "dword:")) return ParseNumber(std::move(name), TrimBlanks(text));
    if (TakePrefix(text, "hex:")) return ParseBytes(std::move(name), REG_BINARY, text);
    if (const std::optional<DWORD> type = TakeTypePrefix(text, "hex"))
        return ParseBytes(std::move(name), *type, text);
    if (const std::optional<DWORD> type = TakeTypePrefix(text, "str"); type && IsText(*type)) {
        return ParseText(std::move(name), *type, TrimBlanks(text));
    }
    return Fault("unknown form of a value");
}

std::string RegistryValueText(const RegistryValue& value) {
    return (value.name.empty() ? "@" : Quoted(value.name)) + "=" + DataText(value);
}
