#include "closed_loop.h"

#include <time.h>

#include <algorithm>
#include <limits>
#include <random>
#include <system_error>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::nanoseconds;

constexpr std::uint8_t HostileLength = 255;  // far beyond the field
constexpr std::chrono::milliseconds LookAround{50};

// A transaction number tells the slot in its low bits and the slot's round above them: a late reply to a
// request that was given up is no one's.
constexpr std::uint32_t SlotMask = MostOutstanding - 1;

nanoseconds CpuTime(clockid_t clock) {
    timespec time = {};
    if (clock_gettime(clock, &time) != 0)
        throw std::system_error(errno, std::system_category(), "clock_gettime");
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

nanoseconds ServerCpuTime(pid_t process) {
    if (process == 0) return {};
    clockid_t clock;
    if (const int error = clock_getcpuclockid(process, &clock); error != 0)
        throw std::system_error(error, std::system_category(), "clock_getcpuclockid");
    return CpuTime(clock);
}

struct Slot {
    std::uint32_t client = 0;
    std::uint32_t transaction = 0;
    Clock::time_point sent;
    bool waiting = false;
    Datagram request;
};

class Loop {
  public:
    explicit Loop(const LoopSettings& settings)
        : settings_(settings),
          socket_(settings.relay, settings.server, settings.outstanding * (1 + settings.hostilePerRequest)),
          random_(settings.seed),
          slots_(settings.outstanding) {
        RequestForm hostile = settings.form;
        hostile.hardwareLength = HostileLength;
        MakeRequest(hostile, 0, 0, &hostile_);
        for (std::uint32_t i = 0; i < settings.outstanding; ++i)
            slots_[i].transaction = i;
        socket_.SetWait(LookAround);
    }

    LoadResult Run() {
        for (Slot& slot : slots_)
            Issue(&slot);
        Flush();
        TurnUntil(Clock::now() + settings_.warmUp);
        result_ = {};
        result_.latencies.reserve(std::size_t{1} << 20);
        const nanoseconds ownCpu = CpuTime(CLOCK_PROCESS_CPUTIME_ID);
        const nanoseconds serverCpu = ServerCpuTime(settings_.serverProcess);
        const auto start = lastReply_ = Clock::now();
        TurnUntil(start + settings_.measured);
        const auto end = Clock::now();
        result_.measured = end - start;
        result_.longestGap = std::max<nanoseconds>(result_.longestGap, end - lastReply_);
        result_.serverCpu = ServerCpuTime(settings_.serverProcess) - serverCpu;
        result_.loadCpu = CpuTime(CLOCK_PROCESS_CPUTIME_ID) - ownCpu;
        Drain();
        return std::move(result_);
    }

  private:
    void TurnUntil(Clock::time_point end) {
        for (auto now = Clock::now(); now < end; now = Clock::now()) {
            Collect(true);
            GiveUpOverdue();
            Flush();
        }
    }

    // Requests that are still under way are lost only if their replies don't come.
    void Drain() {
        const auto isWaiting = [](const Slot& slot) { return slot.waiting; };
        const auto end = Clock::now() + settings_.patience;
        while (std::any_of(slots_.begin(), slots_.end(), isWaiting) && Clock::now() < end)
            Collect(false);
        result_.lost += static_cast<std::uint64_t>(std::count_if(slots_.begin(), slots_.end(), isWaiting));
    }

    void Issue(Slot* slot) {
        slot->client = static_cast<std::uint32_t>(random_() % settings_.clients);
        slot->transaction += MostOutstanding;
        slot->waiting = true;
        MakeRequest(settings_.form, slot->client, slot->transaction, &slot->request);
        for (std::uint32_t i = 0; i < settings_.hostilePerRequest; ++i)
            outgoing_.push_back(&hostile_);
        outgoing_.push_back(&slot->request);
        issued_.push_back(slot);
    }

    void Flush() {
        if (outgoing_.empty()) return;
        const auto now = Clock::now();
        for (Slot* slot : issued_)
            slot->sent = now;
        socket_.Send(outgoing_);
        outgoing_.clear();
        issued_.clear();
    }

    Slot* SlotOf(const LoadSocket::Received& reply) {
        const auto transaction =
            TransactionOf(settings_.kind, settings_.form.kind, reply.bytes, reply.length);
        if (!transaction || (*transaction & SlotMask) >= slots_.size()) return nullptr;
        Slot* const slot = &slots_[*transaction & SlotMask];
        const bool isExpected = slot->waiting && slot->transaction == *transaction &&
                                IsReplyFor(settings_.kind, slot->client, reply.bytes);
        return isExpected ? slot : nullptr;
    }

    void Collect(bool issueNext) {
        const auto replies = socket_.Receive();
        const auto now = Clock::now();
        for (const LoadSocket::Received& reply : replies) {
            Slot* const slot = SlotOf(reply);
            if (slot == nullptr) {
                ++result_.wrong;
                continue;
            }
            slot->waiting = false;
            if (!issueNext) continue;
            const nanoseconds latency = now - slot->sent;
            constexpr nanoseconds::rep Most = std::numeric_limits<std::uint32_t>::max();
            result_.latencies.push_back(static_cast<std::uint32_t>(std::min(latency.count(), Most)));
            result_.longestGap = std::max<nanoseconds>(result_.longestGap, now - lastReply_);
            lastReply_ = now;
            Issue(slot);
        }
    }

    // The oldest can't be overdue more often than this looks.
    void GiveUpOverdue() {
        const auto now = Clock::now();
        if (now < nextLook_) return;
        nextLook_ = now + LookAround;
        for (Slot& slot : slots_) {
            if (!slot.waiting || now - slot.sent < settings_.patience) continue;
            ++result_.lost;
            Issue(&slot);
        }
    }

    const LoopSettings& settings_;
    LoadSocket socket_;
    std::mt19937_64 random_;
    std::vector<Slot> slots_;
    Datagram hostile_;
    std::vector<const Datagram*> outgoing_;
    std::vector<Slot*> issued_;
    Clock::time_point lastReply_, nextLook_;
    LoadResult result_;
};

}  // namespace

LoadResult RunClosedLoop(const LoopSettings& settings) {
    return Loop(settings).Run();
}

}  // namespace bench
