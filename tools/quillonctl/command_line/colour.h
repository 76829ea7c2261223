// Colours, where somebody looks at them.
#pragma once

#include <string>

namespace quillonctl {

enum class Colour { Red, Green, Cyan, Yellow };

// Whether what goes to this descriptor may have colours: it is a terminal that can show them, and NO_COLOR
// isn't set to anything.
bool MayHaveColour(int descriptor);

// The text in this colour if `isColoured`, else as it is.
std::string Painted(const std::string& text, Colour colour, bool isColoured);

// A unified diff for the standard output.
std::string ColouredDiff(const std::string& diff);

}  // namespace quillonctl
