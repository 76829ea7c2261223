// What the find status and the reply status of the service's log mean, and what to do: as the operator's
// guide has it.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace quillonctl {

struct StatusAdvice {
    const char* log;  // what the log says, with one blank between words
    const char* meaning;
    const char* advice;
};

// In the order of the guide.
std::span<const StatusAdvice> FindStatusAdvice();
std::span<const StatusAdvice> ReplyStatusAdvice();

// For a status of either kind as the log has it; null for any other text.
const StatusAdvice* AdviceOn(std::string_view log);

}  // namespace quillonctl
