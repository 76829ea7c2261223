// What differs between two versions of a text, in the form that patch(1) takes.
#pragma once

#include <string>
#include <string_view>

namespace quillonctl {

// Empty if nothing differs. Small changes in a large text are found quickly.
std::string UnifiedDiff(const std::string& path, std::string_view before, std::string_view after);

}  // namespace quillonctl
