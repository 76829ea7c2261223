// Whether an edit makes a bootptab worse, before it takes the place of the one that serves.
#pragma once

#include <string>
#include <vector>

#include "quillonctl/check/finding.h"

namespace quillonctl {

// The errors of "quillonctl check" that the text after the edit has and the one before it hasn't, wherever
// the edit has moved them. `path` is what they name as the file. Throws std::runtime_error if a text can't be
// checked.
std::vector<Finding> NewErrors(const std::string& path, const std::string& before, const std::string& after);

}  // namespace quillonctl
