#include "database/lookup/option_list.h"

#include <algorithm>
#include <cstring>

void CopyOptionValue(const OptionList& list, const OptionView& option, BYTE* bytes, std::size_t count) {
    const std::size_t present = std::min(count, static_cast<std::size_t>(list.end - option.value));
    std::memset(bytes, 0, count);
    std::memcpy(bytes, option.value, present);
}
