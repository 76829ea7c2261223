// The whole check: parameters and bootptab, with the service's own code.
#pragma once

#include <optional>
#include <string>

#include "quillonctl/check/finding.h"

namespace quillonctl {

struct CheckOutcome {
    std::string file;     // the bootptab that was checked
    bool isRead = false;  // false: it couldn't be read, `error` says why
    std::string error;
    std::size_t clients = 0;  // that get a reply
    Findings findings;        // sorted
};

enum class CheckDepth : std::uint8_t {
    Everything,
    Refusals,  // only what makes a load fail; the rest is looked at if one does
};

// Without `file` that of the instance is checked, and its registry; with one the registry gives the settings
// only.
CheckOutcome CheckDatabase(const std::optional<std::string>& file, CheckDepth depth = CheckDepth::Everything);

}  // namespace quillonctl
