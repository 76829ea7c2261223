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
        : _settings(settings),
          _socket(settings.relay, settings.server, settings.outstanding * (1 + settings.hostilePerRequest)),
          _random(settings.seed),
          _slots(settings.outstanding) {
        RequestForm hostile = settings.form;
        hostile.hardwareLength = HostileLength;
        MakeRequest(hostile, 0, 0, &_hostile);
        for (std::uint32_t i = 0; i < settings.outstanding; ++i)
            _slots[i].transaction = i;
        _socket.SetWait(LookAround);
    }

    LoadResult Run() {
        for (Slot& slot : _slots)
            Issue(&slot);
        Flush();
        TurnUntil(Clock::now() + _settings.warmUp);
        _result = {};
        _result.latencies.reserve(std::size_t{1} << 20);
        const nanoseconds ownCpu = CpuTime(CLOCK_PROCESS_CPUTIME_ID);
        const nanoseconds serverCpu = ServerCpuTime(_settings.serverProcess);
        const auto start = _lastReply = Clock::now();
        TurnUntil(start + _settings.measured);
        const auto end = Clock::now();
        _result.measured = end - start;
        _result.longestGap = std::max<nanoseconds>(_result.longestGap, end - _lastReply);
        _result.serverCpu = ServerCpuTime(_settings.serverProcess) - serverCpu;
        _result.loadCpu = CpuTime(CLOCK_PROCESS_CPUTIME_ID) - ownCpu;
        Drain();
        return std::move(_result);
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
        const auto end = Clock::now() + _settings.patience;
        while (std::any_of(_slots.begin(), _slots.end(), isWaiting) && Clock::now() < end)
            Collect(false);
        _result.lost += static_cast<std::uint64_t>(std::count_if(_slots.begin(), _slots.end(), isWaiting));
    }

    void Issue(Slot* slot) {
        slot->client = static_cast<std::uint32_t>(_random() % _settings.clients);
        slot->transaction += MostOutstanding;
        slot->waiting = true;
        MakeRequest(_settings.form, slot->client, slot->transaction, &slot->request);
        for (std::uint32_t i = 0; i < _settings.hostilePerRequest; ++i)
            _outgoing.push_back(&_hostile);
        _outgoing.push_back(&slot->request);
        _issued.push_back(slot);
    }

    void Flush() {
        if (_outgoing.empty()) return;
        const auto now = Clock::now();
        for (Slot* slot : _issued)
            slot->sent = now;
        _socket.Send(_outgoing);
        _outgoing.clear();
        _issued.clear();
    }

    Slot* SlotOf(const LoadSocket::Received& reply) {
        const auto transaction =
            TransactionOf(_settings.kind, _settings.form.kind, reply.bytes, reply.length);
        if (!transaction || (*transaction & SlotMask) >= _slots.size()) return nullptr;
        Slot* const slot = &_slots[*transaction & SlotMask];
        const bool isExpected = slot->waiting && slot->transaction == *transaction &&
                                IsReplyFor(_settings.kind, slot->client, reply.bytes);
        return isExpected ? slot : nullptr;
    }

    void Collect(bool issueNext) {
        const auto replies = _socket.Receive();
        const auto now = Clock::now();
        for (const LoadSocket::Received& reply : replies) {
            Slot* const slot = SlotOf(reply);
            if (slot == nullptr) {
                ++_result.wrong;
                continue;
            }
            slot->waiting = false;
            if (!issueNext) continue;
            const nanoseconds latency = now - slot->sent;
            constexpr nanoseconds::rep Most = std::numeric_limits<std::uint32_t>::max();
            _result.latencies.push_back(static_cast<std::uint32_t>(std::min(latency.count(), Most)));
            _result.longestGap = std::max<nanoseconds>(_result.longestGap, now - _lastReply);
            _lastReply = now;
            Issue(slot);
        }
    }

    // The oldest can't be overdue more often than this looks.
    void GiveUpOverdue() {
        const auto now = Clock::now();
        if (now < _nextLook) return;
        _nextLook = now + LookAround;
        for (Slot& slot : _slots) {
            if (!slot.waiting || now - slot.sent < _settings.patience) continue;
            ++_result.lost;
            Issue(&slot);
        }
    }

    const LoopSettings& _settings;
    LoadSocket _socket;
    std::mt19937_64 _random;
    std::vector<Slot> _slots;
    Datagram _hostile;
    std::vector<const Datagram*> _outgoing;
    std::vector<Slot*> _issued;
    Clock::time_point _lastReply, _nextLook;
    LoadResult _result;
};

}  // namespace

LoadResult RunClosedLoop(const LoopSettings& settings) {
    return Loop(settings).Run();
}

}  // namespace bench
