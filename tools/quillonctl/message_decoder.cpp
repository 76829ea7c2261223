#include "quillonctl/message_decoder.h"

#include <algorithm>
#include <cstring>

#include "quillonctl/option_table.h"

namespace quillonctl {
namespace {

constexpr IpAddress Cookie = {{99, 130, 83, 99}};

// `bytes` has `width` bytes or more; network byte order.
std::uint32_t Unsigned(Bytes bytes, std::size_t width) {
    std::uint32_t value = 0;
    for (const std::uint8_t byte : bytes.first(width))
        value = value << 8 | byte;
    return value;
}

std::string AddressAt(Bytes bytes) {
    IpAddress address;
    std::memcpy(address.bytes, bytes.data(), sizeof address.bytes);
    return AddressText(address);
}

// One value of a type that isn't a text; `bytes` has the width of the type.
std::string ValueText(OptionType type, Bytes bytes) {
    switch (type) {
        case OptionType::Address:
        case OptionType::Addresses:
            return AddressAt(bytes);
        case OptionType::AddressPairs:
            return AddressAt(bytes) + " " + AddressAt(bytes.subspan(4));
        case OptionType::Int32:
            return std::to_string(static_cast<std::int32_t>(Unsigned(bytes, 4)));
        default:
            return std::to_string(Unsigned(bytes, bytes.size()));
    }
}

struct Shape {
    std::size_t width;  // of one value
    bool isList;
    bool isNumeric;
};

Shape ShapeOf(OptionType type) {
    switch (type) {
        case OptionType::Address:
            return {4, false, false};
        case OptionType::Addresses:
            return {4, true, false};
        case OptionType::AddressPairs:
            return {8, true, false};
        case OptionType::UInt16:
            return {2, false, true};
        case OptionType::UInt16List:
            return {2, true, true};
        case OptionType::UInt32:
        case OptionType::Int32:
            return {4, false, true};
        case OptionType::Codes:
            return {1, true, true};
        case OptionType::Boolean:
        case OptionType::UInt8:
        case OptionType::MessageType:
            return {1, false, true};
        case OptionType::Hex:
        case OptionType::Text:
            break;
    }
    return {0, false, false};
}

void ReadValues(DecodedOption& option, OptionType type) {
    const Bytes data = option.data;
    if (type == OptionType::Text) {
        // A NUL at the end belongs to the sender's habits, not to the text.
        std::string text(data.begin(), data.end());
        text.erase(text.find_last_not_of('\0') + 1);
        option.values.push_back(std::move(text));
        return;
    }
    const Shape shape = ShapeOf(type);
    const bool fits =
        shape.width != 0 && (shape.isList ? data.size() % shape.width == 0 : data.size() == shape.width);
    if (!fits) {
        if (shape.width != 0) option.remark = "wrong length " + std::to_string(data.size());
        option.values.push_back(HexText(data));
        return;
    }
    option.isList = shape.isList;
    option.isNumeric = shape.isNumeric;
    for (std::size_t at = 0; at < data.size(); at += shape.width)
        option.values.push_back(ValueText(type, data.subspan(at, shape.width)));
    if (type == OptionType::MessageType) {
        const char* name = MessageTypeName(data.front());
        option.remark = name != nullptr ? name : "unknown message type";
    }
}

DecodedOption DecodeOption(std::uint8_t code, Bytes data) {
    DecodedOption option;
    option.code = code;
    option.data.assign(data.begin(), data.end());
    const OptionRow* row = FindOption(code);
    if (row != nullptr) option.name = row->name;
    ReadValues(option, row != nullptr ? row->type : OptionType::Hex);
    return option;
}

ListEnd DecodeOptions(Bytes list, std::vector<DecodedOption>& options) {
    std::size_t at = 0;
    while (at < list.size()) {
        const std::uint8_t code = list[at];
        if (code == TagEnd) return ListEnd::EndMark;
        if (code == TagPad) {
            ++at;
            continue;
        }
        if (list.size() - at < 2 || list.size() - at - 2 < list[at + 1]) return ListEnd::CutShort;
        options.push_back(DecodeOption(code, list.subspan(at + 2, list[at + 1])));
        at += 2u + list[at + 1];
    }
    return ListEnd::Missing;
}

}  // namespace

DecodedMessage DecodeMessage(Bytes message) {
    DecodedMessage decoded;
    decoded.length = message.size();
    if (!message.empty())
        std::memcpy(&decoded.header, message.data(), std::min(message.size(), sizeof decoded.header));
    if (message.size() >= sizeof(BootPacket) && decoded.header.cookie == Cookie)
        decoded.end = DecodeOptions(message.subspan(sizeof(BootPacket)), decoded.options);
    return decoded;
}

std::string AddressText(const IpAddress& address) {
    std::string text;
    for (const std::uint8_t byte : address.bytes)
        text += (text.empty() ? "" : ".") + std::to_string(byte);
    return text;
}

std::string HexText(Bytes bytes) {
    static constexpr char Digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text += Digits[byte >> 4];
        text += Digits[byte & 0xF];
    }
    return text;
}

std::string HardwareText(const BootPacket& header, std::size_t count) {
    std::string text;
    for (std::size_t index = 0; index < std::min(count, sizeof header.chaddr); ++index)
        text += (index == 0 ? "" : "-") + HexText(Bytes(&header.chaddr[index], 1));
    return text;
}

std::string FieldText(const char* field, std::size_t size) {
    return std::string(field, ::strnlen(field, size));
}

}  // namespace quillonctl
