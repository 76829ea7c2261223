// A bounds-checked view over the tag-length-value bytes of a vendor area. Every walk over options goes
// through it: nothing at or after the list's end is ever read.
#pragma once

#include <optional>

#include "platform/windows_api.h"
#include "request/boot_packet.h"

// What a tag of 0 is: a single byte in a client's list, an option like any other in what the service has
// built.
enum class PadRule { Pads, Options };

// `end` may lie in front of `begin`: a packet too short for a vendor area has an empty list.
struct OptionList {
    const BYTE* begin;
    const BYTE* end;
    PadRule pads = PadRule::Pads;
};

enum class OptionForm {
    Whole,     // tag, length and value
    Pad,       // one byte
    End,       // one byte, nothing follows
    NoLength,  // the list ends after the tag
    CutValue,  // the list ends inside the value
};

struct OptionView {
    OptionForm form;
    const BYTE* start;   // at the tag
    const BYTE* value;   // after the length byte, or the list's end
    std::size_t length;  // value bytes that are in the list
    const BYTE* next;    // where the walk goes on; the list's end after NoLength, CutValue and End
};

// The option at `position`, which lies within the list.
inline OptionView ReadOption(const OptionList& list, const BYTE* position) {
    const auto room = static_cast<std::size_t>(list.end - position);
    const BYTE tag = *position;
    if (tag == TagEnd) return {OptionForm::End, position, list.end, 0, list.end};
    if (tag == TagPad && list.pads == PadRule::Pads)
        return {OptionForm::Pad, position, position + 1, 0, position + 1};
    if (room < 2) return {OptionForm::NoLength, position, list.end, 0, list.end};
    const std::size_t length = position[1];
    if (length > room - 2) return {OptionForm::CutValue, position, position + 2, room - 2, list.end};
    return {OptionForm::Whole, position, position + 2, length, position + 2 + length};
}

// The first option with that tag in front of the end mark, in whatever form it is there.
inline std::optional<OptionView> FindOption(const OptionList& list, BYTE tag) {
    for (const BYTE* position = list.begin; position < list.end;) {
        const OptionView option = ReadOption(list, position);
        if (option.form == OptionForm::End) return std::nullopt;
        if (*option.start == tag) return option;
        position = option.next;
    }
    return std::nullopt;
}

// Copies `count` bytes from the place of the option's value, whatever its length byte says. What lies after
// the end of the list reads as zero.
void CopyOptionValue(const OptionList& list, const OptionView& option, BYTE* bytes, std::size_t count);
