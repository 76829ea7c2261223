#include "quillonctl/reload_effect.h"

#include <thread>

namespace quillonctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds Patience{2000};
constexpr std::chrono::milliseconds Pause{10};

}  // namespace

ReloadEffect::ReloadEffect() {
    DWORD ignored = ERROR_SUCCESS;
    before_ = AskCounters(ignored, Patience);
}

std::optional<Counters> ReloadEffect::Await() const {
    if (!before_) return std::nullopt;
    for (const Clock::time_point end = Clock::now() + Patience; Clock::now() < end;) {
        DWORD ignored = ERROR_SUCCESS;
        auto now = AskCounters(ignored, Patience);
        if (!now) return std::nullopt;
        if (now->Value("reloads.done") > before_->Value("reloads.done")) return now;
        std::this_thread::sleep_for(Pause);
    }
    return std::nullopt;
}

}  // namespace quillonctl
