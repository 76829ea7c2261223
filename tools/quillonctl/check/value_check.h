// One value of bootptab: what it says, and what would go out instead.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "database/option_catalogue.h"
#include "quillonctl/check/finding.h"

namespace quillonctl {

struct ValueFault {
    Severity severity;
    std::string text;
};

// What is wrong with a value under its row of the catalogue. A value that makes its client malformed for a
// reason that shows in the value alone gives an error.
std::vector<ValueFault> CheckValue(const OptionDefinition& row, std::string_view value);

}  // namespace quillonctl
