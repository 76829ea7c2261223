// One value of the registry as text, `"name"=data`. Within the layer only.
#pragma once

#include <string>
#include <string_view>

#include "platform/linux/registry/registry_document.h"

struct ParsedRegistryValue {
    RegistryValue value;
    bool isComplete;    // the text would be no value, or another fault, if its end were cut off
    std::string fault;  // what is wrong with it; empty for a value
};

// `text` is a line without blanks at its ends, with its continuation lines joined.
ParsedRegistryValue ParseRegistryValue(std::string_view text);
