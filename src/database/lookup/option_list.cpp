#include "database/lookup/option_list.h"

#include <algorithm>
#include <cstring>

OptionView ReadOption(const OptionList& list, const BYTE* position) {
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

std::optional<OptionView> FindOption(const OptionList& list, BYTE tag) {
    for (const BYTE* position = list.begin; position < list.end;) {
        const OptionView option = ReadOption(list, position);
        if (option.form == OptionForm::End) return std::nullopt;
        if (*option.start == tag) return option;
        position = option.next;
    }
    return std::nullopt;
}

void CopyOptionValue(const OptionList& list, const OptionView& option, BYTE* bytes, std::size_t count) {
    const std::size_t present = std::min(count, static_cast<std::size_t>(list.end - option.value));
    std::memset(bytes, 0, count);
    std::memcpy(bytes, option.value, present);
}
