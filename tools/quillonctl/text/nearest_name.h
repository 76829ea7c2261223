// Which of the known words somebody may have meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quillonctl {

// How many letters have to be added, dropped, replaced or swapped with their neighbour to make one word of
// the other. Case doesn't count.
std::size_t EditDistance(std::string_view one, std::string_view other);

// The known word that is nearest, the first of several; empty if none is near enough to be worth a guess.
std::string NearestName(std::string_view word, const std::vector<std::string>& known);

// "; did you mean 'reload'?", to be put after a complaint; empty without a guess.
std::string DidYouMean(std::string_view word, const std::vector<std::string>& known);

}  // namespace quillonctl
