#include "request/outcome_count.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <ctime>

#include "database/last_answer.h"
#include "database/lookup/option_list.h"
#include "diagnostics/recent_clients.h"
#include "diagnostics/service_counters.h"
#include "request/reload.h"

namespace {

// A datagram that ends before this has no hardware address.
constexpr LONG LeastWithAddress = offsetof(BootPacket, chaddr) + HardwareAddressSize;

OptionList OptionsOf(const RequestContext& context) {
    return {Options(context.packet), reinterpret_cast<const BYTE*>(context.packet) + context.length};
}

[[gnu::noinline]] BYTE LookForMessageType(const RequestContext& context) {
    const OptionList options = OptionsOf(context);
    const auto message = FindOption(options, TagMessageType);
    BYTE type = 0;
    if (message) CopyOptionValue(options, *message, &type, 1);
    return type;
}

// 0 if there is none. Mostly it is the first option.
BYTE MessageTypeOf(const RequestContext& context) {
    constexpr LONG Least = sizeof(BootPacket) + 3;
    const BYTE* const options = Options(context.packet);
    return context.length >= Least && options[0] == TagMessageType ? options[2] : LookForMessageType(context);
}

// By the message type of a reply that was composed.
constexpr ReplyKind KindsOfReplies[] = {ReplyKind::Bootp, ReplyKind::Bootp,   ReplyKind::Offer,
                                        ReplyKind::Bootp, ReplyKind::Decline, ReplyKind::Ack,
                                        ReplyKind::Nak,   ReplyKind::Release};

ReplyKind ReplyKindOf(const RequestOutcome& outcome, const RequestContext& context) {
    if (outcome.status != FindListedDhcp && outcome.status != FindTransientDhcp) return ReplyKind::Bootp;
    return KindsOfReplies[MessageTypeOf(context) % std::size(KindsOfReplies)];
}

RequestKind KindOfRequest(const RequestContext& context) {
    if (context.length < static_cast<LONG>(sizeof(BootPacket))) return RequestKind::TooShort;
    if (!FindOption(OptionsOf(context), TagMessageType)) return RequestKind::Bootp;
    switch (MessageTypeOf(context)) {
        case 1:
            return RequestKind::Discover;
        case 3:
            return RequestKind::Request;
        case 4:
            return RequestKind::Decline;
        case 7:
            return RequestKind::Release;
        case 8:
            return RequestKind::Inform;
        default:
            return RequestKind::OtherDhcp;
    }
}

// The packet may hold the reply already.
RequestKind KindOfRefused(const RequestOutcome& outcome, const RequestContext& context) {
    if (outcome.refusal == Refusal::Opcode)
        return IsReloadRequest(context.packet) ? RequestKind::Reload : RequestKind::NoRequest;
    const bool isReply = outcome.status <= FindListedBootp;
    return isReply ? RequestOf(ReplyKindOf(outcome, context)) : KindOfRequest(context);
}

SeenClient SeenIn(const RequestContext& context, IpAddress local) {
    const BootPacket& packet = *context.packet;
    SeenClient seen = {};
    seen.length = std::min<std::uint8_t>(packet.hlen, HardwareAddressSize);
    std::memcpy(seen.address, packet.chaddr, seen.length);
    seen.local = local;
    seen.last = std::time(nullptr);
    return seen;
}

// A request that another interface is nearer to has its copy there, and its answer, if there ever was one.
bool IsWorthNoting(const RequestOutcome& outcome, const RequestContext& context) {
    if (outcome.refusal == Refusal::Opcode || context.length < LeastWithAddress || context.packet->hlen == 0)
        return false;
    return outcome.refusal != Refusal::OtherInterface || outcome.listed == nullptr ||
           LastAnswerOf(outcome.listed).time == 0;
}

// A reply whose directed send failed was tried by broadcast too.
unsigned FailedSends(const DeliveryOutcome& delivery) {
    const unsigned sends = delivery.route == ReplyRoute::BroadcastNotSent ? 2 : 1;
    return sends - (delivery.firstSent || delivery.secondSent ? 1 : 0);
}

void CountSilence(const RequestOutcome& outcome, const RequestContext& context, IpAddress local) {
    const RequestKind kind = KindOfRefused(outcome, context);
    CountRefusal(kind, outcome.refusal);
    if (outcome.refusal == Refusal::NotSent) CountFailedSends(FailedSends(outcome.delivery));
    if (!IsWorthNoting(outcome, context)) return;
    SeenClient seen = SeenIn(context, local);
    seen.kind = static_cast<std::uint8_t>(kind);
    seen.outcome = static_cast<std::uint8_t>(outcome.refusal);
    seen.peer = context.packet->giaddr;
    UnansweredClients.Note(seen);
}

void NoteClientFromFile(const RequestOutcome& outcome, const RequestContext& context, ReplyKind kind,
                        IpAddress local) {
    SeenClient seen = SeenIn(context, local);
    seen.kind = static_cast<std::uint8_t>(kind);
    seen.outcome = static_cast<std::uint8_t>(outcome.delivery.route);
    seen.peer = context.packet->yiaddr;
    ClientsReadFromFile.Note(seen);
}

void CountAnswer(const RequestOutcome& outcome, ReplyKind kind) {
    CountReply(kind, outcome.delivery.route);
    if (outcome.listed != nullptr)
        NoteLastAnswer(outcome.listed, std::time(nullptr), static_cast<std::uint8_t>(kind),
                       static_cast<std::uint8_t>(outcome.delivery.route));
}

// What is seldom, apart from the road of each reply.
[[gnu::noinline]] void CountRarity(const RequestOutcome& outcome, const RequestContext& context,
                                   IpAddress local) {
    const DeliveryOutcome& delivery = outcome.delivery;
    if (!delivery.firstSent && !delivery.secondSent) return CountSilence(outcome, context, local);
    const ReplyKind kind = ReplyKindOf(outcome, context);
    CountAnswer(outcome, kind);
    if (const unsigned failed = FailedSends(delivery); failed != 0) CountFailedSends(failed);
    if (outcome.listed == nullptr) NoteClientFromFile(outcome, context, kind, local);
}

}  // namespace

void CountOutcome(const RequestOutcome& outcome, const RequestContext& context, IpAddress local) {
    if (!outcome.delivery.firstSent || outcome.listed == nullptr) return CountRarity(outcome, context, local);
    CountAnswer(outcome, ReplyKindOf(outcome, context));
}
