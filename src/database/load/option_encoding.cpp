#include "database/load/option_encoding.h"

#include <cstddef>
#include <cstring>

#include "database/load/pseudo_tags.h"
#include "database/load/value_reading.h"

namespace {

constexpr std::ptrdiff_t LargestBody = 255;

// Room that an option of a type needs: to begin with, and in front of each item. The four-byte and two-byte
// types keep a byte free for the end mark; where a byte list has used up the last one, the end mark itself
// finds no room.
struct ListLayout {
    std::ptrdiff_t firstRoom;
    std::ptrdiff_t itemRoom;
    std::ptrdiff_t itemWidth;
};

ListLayout LayoutOf(OptionType type) {
    switch (type) {
        case OptionType::IpAddress:
        case OptionType::IpAddressArray:
        case OptionType::Int:
        case OptionType::Time:
            return {7, 5, 4};
        case OptionType::Word:
            return {5, 3, 2};
        default:
            return {2, 3, 1};
    }
}

EncodedOption Refuse(EncodeOutcome outcome) {
    return {outcome, nullptr};
}

EncodedOption MarkEnd(BYTE* cursor, const BYTE* limit, EncodeOutcome outcome) {
    if (cursor >= limit) return Refuse(EncodeOutcome::NoRoom);
    *cursor = TagEnd;
    return {outcome, cursor};
}

// Every comma becomes the end of an item, and an empty item the end of the list.
void SplitAtCommas(char* value) {
    value[std::strlen(value) + 1] = '\0';
    for (char* comma = std::strchr(value, ','); comma != nullptr; comma = std::strchr(comma + 1, ','))
        *comma = '\0';
}

void StoreNumber(DWORD number, std::ptrdiff_t width, BYTE* bytes) {
    for (std::ptrdiff_t at = width; at > 0; number >>= 8)
        bytes[--at] = static_cast<BYTE>(number);
}

// False for an item that has no encoding.
bool EncodeItem(OptionType type, const char* item, std::ptrdiff_t width, BYTE* bytes) {
    if (type == OptionType::IpAddress || type == OptionType::IpAddressArray) {
        const IpAddress address = ReadAddress(item);
        std::memcpy(bytes, &address, sizeof(address));
        return true;
    }
    if (type == OptionType::Time) {
        const auto time = ReadTime(item);
        if (time) StoreNumber(*time, width, bytes);
        return time.has_value();
    }
    const auto number = ReadDecimal(item);
    if (number) StoreNumber(static_cast<DWORD>(*number), width, bytes);
    return number.has_value();
}

EncodedOption EncodeList(const OptionDefinition& definition, BYTE* cursor, const BYTE* limit, char* value) {
    const ListLayout layout = LayoutOf(definition.type);
    if (limit - cursor < layout.firstRoom) return MarkEnd(cursor, limit, EncodeOutcome::NoRoom);
    BYTE* const length = cursor + 1;
    *cursor = static_cast<BYTE>(definition.tag);
    cursor += 2;

    SplitAtCommas(value);
    std::ptrdiff_t body = 0;
    for (const char* item = value; *item != '\0'; item += std::strlen(item) + 1) {
        if (limit - cursor < layout.itemRoom) return MarkEnd(cursor, limit, EncodeOutcome::NoRoom);
        body += layout.itemWidth;
        if (body > LargestBody || !EncodeItem(definition.type, item, layout.itemWidth, cursor)) {
            return Refuse(EncodeOutcome::Malformed);
        }
        cursor += layout.itemWidth;
    }
    *length = static_cast<BYTE>(body);
    return {EncodeOutcome::Done, cursor};
}

EncodedOption EncodeString(bool terminate, const OptionDefinition& definition, BYTE* cursor,
                           const BYTE* limit, const char* value) {
    const auto size = static_cast<std::ptrdiff_t>(std::strlen(value));
    const std::ptrdiff_t body = size + (terminate ? 1 : 0);
    if (body > LargestBody) return Refuse(EncodeOutcome::Malformed);
    if (limit - cursor <= size + 3) return MarkEnd(cursor, limit, EncodeOutcome::NoRoom);
    cursor[0] = static_cast<BYTE>(definition.tag);
    cursor[1] = static_cast<BYTE>(body);
    std::memcpy(cursor + 2, value, static_cast<std::size_t>(body));  // with its NUL if it is to be there
    return {EncodeOutcome::Done, cursor + 2 + body};
}

}  // namespace

EncodedOption EncodeOptionValue(DWORD terminateStrings, const OptionDefinition* catalogue, BootPacket* packet,
                                BYTE* cursor, BYTE* limit, const char* key, char* value) {
    return EncodeDefinedOption(terminateStrings, FindOptionDefinition(catalogue, key), packet, cursor, limit,
                               value);
}

EncodedOption EncodeDefinedOption(DWORD terminateStrings, const OptionDefinition* definition,
                                  BootPacket* packet, BYTE* cursor, BYTE* limit, char* value) {
    if (definition == nullptr) return MarkEnd(cursor, limit, EncodeOutcome::Done);
    if (definition->tag < 0) {
        if (!ApplyPseudoTag(definition->tag, packet, value)) return Refuse(EncodeOutcome::Malformed);
        return {EncodeOutcome::Done, cursor};
    }
    if (definition->type == OptionType::HardwareAddress || std::strlen(value) > LongestOptionValue) {
        return Refuse(EncodeOutcome::Malformed);
    }
    if (cursor > limit) return Refuse(EncodeOutcome::NoRoom);
    if (definition->type == OptionType::String) {
        return EncodeString(terminateStrings != 0, *definition, cursor, limit, value);
    }
    return EncodeList(*definition, cursor, limit, value);
}
