// What becomes of a datagram, as numbers with names: what is counted, and what an operator is told.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

// What a datagram asks for. A DHCP message that isn't of the types named here is of another one.
enum class RequestKind : std::uint8_t {
    Bootp,
    Discover,
    Request,
    Decline,
    Release,
    Inform,
    OtherDhcp,
    TooShort,  // ends within the fixed part
    NoRequest,
    Reload,
};
inline constexpr const char* RequestKindNames[] = {"BOOTP",  "DISCOVER",  "REQUEST",  "DECLINE",   "RELEASE",
                                                   "INFORM", "otherDhcp", "tooShort", "noRequest", "reload"};

// A DECLINE and a RELEASE get themselves back.
enum class ReplyKind : std::uint8_t { Bootp, Offer, Ack, Nak, Decline, Release };
inline constexpr const char* ReplyKindNames[] = {"BOOTP", "OFFER", "ACK", "NAK", "DECLINE", "RELEASE"};

// The requests that get such replies.
inline constexpr RequestKind RequestsOfReplies[] = {RequestKind::Bootp,   RequestKind::Discover,
                                                    RequestKind::Request, RequestKind::Request,
                                                    RequestKind::Decline, RequestKind::Release};

// The way that a reply has left by.
enum class ReplyRoute : std::uint8_t {
    Relay,
    Broadcast,
    Directed,
    BroadcastNoEntry,  // in place of a directed one, for which there was no ARP entry
    BroadcastNotSent,  // in place of another one that couldn't be sent
};
inline constexpr const char* ReplyRouteNames[] = {"relay", "broadcast", "directed", "broadcastNoArpEntry",
                                                  "broadcastAfterFailure"};

// Why a datagram got no reply.
enum class Refusal : std::uint8_t {
    Opcode,
    ServerName,
    RelayAgent,
    UnknownClient,
    HardwareType,
    Dropped,
    Malformed,
    Undefined,
    NoAddress,
    OtherInterface,
    NotSent,
};
inline constexpr const char* RefusalNames[] = {
    "opcode",    "serverName", "relayAgent", "unknownClient",  "hardwareType", "dropped",
    "malformed", "undefined",  "noAddress",  "otherInterface", "notSent"};

// As the trace has them, but for the two that name an interface or a route there.
inline constexpr const char* RefusalTexts[] = {
    "Invalid opcode",
    "Not this server",
    "Relay agent not listed",
    "Hardware address not found in database.",
    "Hardware type mismatch. Check the event log.",
    "Packet dropped",
    "Error in client's database configuration. Check the event log.",
    "Undefined error. Check the event log.",
    "No address defined. Reply skipped.",
    "Another local interface is more suitable. Skipping reply.",
    "No reply sent: sending failed. Check the event log.",
};

inline constexpr std::size_t RequestKinds = std::size(RequestKindNames);
inline constexpr std::size_t ReplyKinds = std::size(ReplyKindNames);
inline constexpr std::size_t ReplyRoutes = std::size(ReplyRouteNames);
inline constexpr std::size_t Refusals = std::size(RefusalNames);
static_assert(std::size(RefusalTexts) == Refusals && std::size(RequestsOfReplies) == ReplyKinds);

constexpr RequestKind RequestOf(ReplyKind reply) {
    return RequestsOfReplies[static_cast<std::size_t>(reply)];
}

constexpr const char* TextOf(Refusal refusal) {
    return RefusalTexts[static_cast<std::size_t>(refusal)];
}
