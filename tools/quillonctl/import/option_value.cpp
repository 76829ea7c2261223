#include "quillonctl/import/option_value.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

using Octets = std::vector<std::uint8_t>;

constexpr std::size_t LongestOption = 255;
constexpr std::size_t LongestBootFile = 127;
constexpr std::uint32_t Endless = 0xFFFFFFFF;
constexpr std::size_t LongestLabel = 63;

// One item as bootptab has it; nothing with the reason in `why`.
using ItemText = std::optional<std::string> (*)(const ValueItem& item, const HostAddresses& names,
                                                std::string& why);

std::optional<std::string> AddressItem(const ValueItem& item, const HostAddresses& names, std::string& why) {
    if (AddressNumber(item.text)) return item.text;
    const auto named = names.find(Lower(item.text));
    if (named != names.end()) return named->second;
    why = "'" + item.text + "' is no IPv4 address; --hosts FILE can give the addresses of names";
    return std::nullopt;
}

std::optional<std::string> NumberItem(const ValueItem& item, std::uint32_t largest, std::string& why) {
    std::string_view digits = item.text;
    const bool isNegative = digits.starts_with('-');
    if (isNegative) digits.remove_prefix(1);
    const auto number = ParseNumber(digits, isNegative ? largest / 2 + 1 : largest);
    if (!number || item.isQuoted) {
        why = "'" + item.text + "' is no number up to " + std::to_string(largest);
        return std::nullopt;
    }
    // A number with its highest bit set is written as the negative one of the same bits.
    if (!isNegative && *number > 0x7FFFFFFF) return std::to_string(static_cast<std::int32_t>(*number));
    return (isNegative ? "-" : "") + std::to_string(*number);
}

std::optional<std::string> ByteItem(const ValueItem& item, const HostAddresses& /*names*/, std::string& why) {
    return NumberItem(item, 0xFF, why);
}

std::optional<std::string> WordItem(const ValueItem& item, const HostAddresses& /*names*/, std::string& why) {
    return NumberItem(item, 0xFFFF, why);
}

std::optional<std::string> LongItem(const ValueItem& item, const HostAddresses& /*names*/, std::string& why) {
    return NumberItem(item, 0xFFFFFFFF, why);
}

std::optional<std::string> FlagItem(const ValueItem& item, const HostAddresses& /*names*/, std::string& why) {
    const std::string word = Lower(item.text);
    if (word == "on" || word == "true" || word == "yes" || word == "1") return "1";
    if (word == "off" || word == "false" || word == "no" || word == "0") return "0";
    why = "'" + item.text + "' is neither on nor off";
    return std::nullopt;
}

std::string SecondsText(std::uint32_t seconds) {
    if (seconds == Endless) return "Infinite";
    char text[32];
    std::snprintf(text, sizeof text, "%u:%02u:%02u", seconds / 3600, seconds / 60 % 60, seconds % 60);
    return text;
}

std::optional<std::string> SecondsItem(const ValueItem& item, const HostAddresses& /*names*/,
                                       std::string& why) {
    const auto seconds = ParseSeconds(item.text);
    if (seconds) return SecondsText(*seconds);
    why = "'" + item.text + "' is no time";
    return std::nullopt;
}

std::optional<std::string> ListText(const std::vector<ValueItem>& items, ItemText itemText,
                                    const HostAddresses& names, std::string& why) {
    std::string list;
    for (const ValueItem& item : items) {
        const auto text = itemText(item, names, why);
        if (!text) return std::nullopt;
        list += (list.empty() ? "" : ",") + *text;
    }
    return list;
}

std::string ByteList(const Octets& octets) {
    std::string list;
    for (const std::uint8_t octet : octets)
        list += (list.empty() ? "" : ",") + std::to_string(octet);
    return list;
}

// "01:0a:ff", "1:a:ff" or "0x010aff"; without separators only if there are as many digits as bytes need.
std::optional<Octets> ParseOctets(std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
    Octets octets;
    const bool isParted = text.find(':') != std::string_view::npos;
    if (text.empty() || (!isParted && text.size() % 2 != 0)) return std::nullopt;
    while (!text.empty()) {
        const std::size_t size = isParted ? std::min(text.find(':'), text.size()) : 2;
        const std::string_view digits = text.substr(0, size);
        const bool isHex = std::ranges::all_of(
            digits, [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; });
        if (digits.empty() || digits.size() > 2 || !isHex) return std::nullopt;
        octets.push_back(static_cast<std::uint8_t>(std::stoul(std::string(digits), nullptr, 16)));
        text.remove_prefix(size);
        if (!isParted || text.empty()) continue;
        text.remove_prefix(1);
        if (text.empty()) return std::nullopt;
    }
    return octets;
}

// Each name as labels with their lengths, ended by an empty one.
std::optional<Octets> DomainOctets(const std::vector<ValueItem>& items, std::string& why) {
    Octets octets;
    for (const ValueItem& item : items) {
        std::string_view name = item.text;
        if (name.ends_with('.')) name.remove_suffix(1);
        for (const std::string& label : Split(name, ".")) {
            if (label.empty() || label.size() > LongestLabel) {
                why = "'" + item.text + "' is no domain name";
                return std::nullopt;
            }
            octets.push_back(static_cast<std::uint8_t>(label.size()));
            octets.insert(octets.end(), label.begin(), label.end());
        }
        octets.push_back(0);
    }
    return octets;
}

void AppendAddress(Octets& octets, std::uint32_t address, unsigned bytes = 4) {
    for (unsigned at = 0; at < bytes; ++at)
        octets.push_back(static_cast<std::uint8_t>(address >> (24 - 8 * at)));
}

// Pairs of "10.1.0.0/16" and a router: the mask's length, the bytes of the destination that count, the
// router.
std::optional<Octets> RouteOctets(const std::vector<ValueItem>& items, std::string& why) {
    Octets octets;
    for (std::size_t at = 0; at < items.size(); at += 2) {
        const std::vector<std::string> parts = Split(items[at].text, "/");
        const auto destination = AddressNumber(parts[0]);
        const auto length = parts.size() == 2 ? ParseNumber(parts[1], 32) : std::optional<std::uint32_t>(32);
        const auto router =
            at + 1 < items.size() ? AddressNumber(items[at + 1].text) : std::optional<std::uint32_t>();
        if (!destination || !length || !router) {
            why = "'" + items[at].text + "' is no route with a router";
            return std::nullopt;
        }
        octets.push_back(static_cast<std::uint8_t>(*length));
        AppendAddress(octets, *destination, (*length + 7) / 8);
        AppendAddress(octets, *router);
    }
    return octets;
}

bool HasControl(const std::string& text) {
    return std::ranges::any_of(text,
                               [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; });
}

std::optional<Setting> OctetSetting(int tag, const std::optional<Octets>& octets, std::string& why) {
    if (!octets) return std::nullopt;
    if (octets->size() > LongestOption) {
        why = "the value has " + std::to_string(octets->size()) + " bytes, and an option holds 255";
        return std::nullopt;
    }
    return Setting{tag, Shape::Octets, ByteList(*octets)};
}

// Text, or the bytes of an unquoted list of hexadecimal numbers. Text that bootptab can't write is carried by
// its bytes.
std::optional<Setting> TextOrOctets(int tag, Shape shape, const std::vector<ValueItem>& items,
                                    std::string& why) {
    std::string text;
    for (const ValueItem& item : items)
        text += (&item == items.data() ? "" : ",") + item.text;
    const bool maybeOctets = items.size() == 1 && !items[0].isQuoted;
    if (maybeOctets && (shape == Shape::Octets || text.find(':') != std::string::npos)) {
        const auto octets = ParseOctets(text);
        if (octets || shape == Shape::Octets) {
            why = "'" + text + "' is no list of hexadecimal bytes";
            return OctetSetting(tag, octets, why);
        }
    }
    if (tag > 0 && HasControl(text)) return OctetSetting(tag, Octets(text.begin(), text.end()), why);
    return MakeTextSetting(tag, text, why);
}

ItemText ItemTextOf(Shape shape) {
    switch (shape) {
        case Shape::Address:
        case Shape::Addresses:
            return AddressItem;
        case Shape::Flag:
            return FlagItem;
        case Shape::Bytes:
            return ByteItem;
        case Shape::Numbers:
            return WordItem;
        case Shape::Longs:
            return LongItem;
        default:
            return SecondsItem;
    }
}

std::size_t WidthOf(Shape shape) {
    if (shape == Shape::Flag || shape == Shape::Bytes) return 1;
    return shape == Shape::Numbers ? 2 : 4;
}

}  // namespace

std::optional<Setting> MakeSetting(int tag, Shape shape, const std::vector<ValueItem>& items,
                                   const HostAddresses& names, std::string& why) {
    if (items.empty()) {
        why = "there is no value";
        return std::nullopt;
    }
    switch (shape) {
        case Shape::Text:
        case Shape::Octets:
            return TextOrOctets(tag, shape, items, why);
        case Shape::Domains:
            return OctetSetting(tag, DomainOctets(items, why), why);
        case Shape::Routes:
            return OctetSetting(tag, RouteOctets(items, why), why);
        default:
            break;
    }
    if (items.size() * WidthOf(shape) > LongestOption) {
        why = "the list is longer than the 255 bytes of an option";
        return std::nullopt;
    }
    const auto list = ListText(items, ItemTextOf(shape), names, why);
    if (!list) return std::nullopt;
    return Setting{tag, shape, *list};
}

std::optional<Setting> MakeTextSetting(int tag, const std::string& text, std::string& why) {
    const std::size_t longest = tag == BootFileTag ? LongestBootFile : LongestOption;
    if (HasControl(text))
        why = "the text has control characters";
    else if (text.empty())
        why = "the text is empty";
    else if (text.size() > longest)
        why = "the text has " + std::to_string(text.size()) + " characters, and " + std::to_string(longest) +
              " is the limit";
    else
        return Setting{tag, Shape::Text, text};
    return std::nullopt;
}

Setting AddressSetting(int tag, std::uint32_t address) {
    return {tag, Shape::Address, AddressText(address)};
}

Setting SecondsSetting(int tag, std::uint32_t seconds) {
    return {tag, Shape::Seconds, SecondsText(seconds)};
}

Setting FlagSetting(int tag) {
    return {tag, Shape::Flag, "1"};
}

std::optional<std::uint32_t> ParseSeconds(const std::string& text) {
    if (SameText(text, "infinite")) return Endless;
    if (text.find(':') != std::string::npos) {
        const std::vector<std::string> parts = Split(text, ":");
        if (parts.size() != 3) return std::nullopt;
        const auto hours = ParseNumber(parts[0], 1000000);
        const auto minutes = ParseNumber(parts[1], 59);
        const auto seconds = ParseNumber(parts[2], 59);
        if (!hours || !minutes || !seconds) return std::nullopt;
        return *hours * 3600 + *minutes * 60 + *seconds;
    }
    static constexpr std::pair<char, std::uint32_t> Units[] = {
        {'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 604800}};
    std::string_view digits = text;
    std::uint32_t unit = 1;
    for (const auto& [letter, seconds] : Units) {
        if (digits.empty() || std::tolower(static_cast<unsigned char>(digits.back())) != letter) continue;
        digits.remove_suffix(1);
        unit = seconds;
        break;
    }
    const auto number = ParseNumber(digits, Endless / unit);
    if (!number) return std::nullopt;
    return *number * unit;
}

}  // namespace quillonctl
