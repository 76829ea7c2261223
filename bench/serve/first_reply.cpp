#include "first_reply.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds Interval{2};

bool HasReply(const LoopSettings& settings, std::span<const LoadSocket::Received> datagrams) {
    for (const auto& [bytes, length] : datagrams) {
        if (TransactionOf(settings.kind, settings.form.kind, bytes, length) &&
            IsReplyFor(settings.kind, 0, bytes))
            return true;
    }
    return false;
}

}  // namespace

std::optional<Clock::time_point> AwaitFirstReply(const LoopSettings& settings,
                                                 std::chrono::milliseconds limit) {
    LoadSocket socket(settings.relay, settings.server, MostOutstanding);
    socket.SetWait(Interval);
    Datagram request;
    const Datagram* const requests[] = {&request};
    const auto end = Clock::now() + limit;
    for (std::uint32_t transaction = 1; Clock::now() < end; ++transaction) {
        MakeRequest(settings.form, 0, transaction, &request);
        socket.Send(requests);
        if (HasReply(settings, socket.Receive())) return Clock::now();
    }
    return {};
}

}  // namespace bench
