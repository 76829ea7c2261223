// From an option's value in another server's words to its value in bootptab.
#pragma once

#include <string>
#include <vector>

#include "quillonctl/import/import_model.h"

namespace quillonctl {

// One piece of a value: text that stood in quotes is never read as a number or as bytes.
struct ValueItem {
    std::string text;
    bool isQuoted = false;
};

// The setting, or nothing with the reason in `why`. `names` are addresses for names among the items.
//
// The shape of the result may differ from the one asked for: text in place of octets and the other way round,
// as the value demands.
std::optional<Setting> MakeSetting(int tag, Shape shape, const std::vector<ValueItem>& items,
                                   const HostAddresses& names, std::string& why);

// The same for a text or an address that is good already in the eyes of its source.
std::optional<Setting> MakeTextSetting(int tag, const std::string& text, std::string& why);
Setting AddressSetting(int tag, std::uint32_t address);
Setting SecondsSetting(int tag, std::uint32_t seconds);
Setting FlagSetting(int tag);

// "3600", "45m", "12h", "2d", "1w", "1:00:00" or "infinite", as seconds; 0xFFFFFFFF is without an end.
std::optional<std::uint32_t> ParseSeconds(const std::string& text);

}  // namespace quillonctl
