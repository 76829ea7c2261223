// The last stretch of a request: which way its finished reply goes, and sending it.
#pragma once

#include "diagnostics/outcome.h"
#include "request/request_context.h"

struct ServerParameters;

inline constexpr WORD RelayPort = 67;
inline constexpr WORD ClientPort = 68;

enum class Route {
    Relay,      // to giaddr, port 67
    Broadcast,  // to 255.255.255.255, the client's port
    Directed,   // to yiaddr, the client's port, with an ARP entry primed first
};

// The first destination of a reply. `flags` are the client's flag bits as they are after CancelBroadcast.
Route ChooseRoute(bool relayed, bool broadcast, std::uint8_t flags);

// NoBroadcast, unless broadcasts are forced: takes back the client's wish for one and the entry's
// AlwaysBroadcast.
void CancelBroadcast(bool forceBroadcast, std::uint8_t* flags, bool* broadcast);

// What became of the sends. The status text follows `broadcast`, not the address.
struct alignas(8) DeliveryOutcome {
    bool broadcast = false;
    bool arpTried = false;  // a directed delivery was begun
    bool firstSent = false;
    bool secondSent = false;                   // a broadcast in place of a directed send that failed
    ReplyRoute route = ReplyRoute::Broadcast;  // of the last send
};
const char* ReplyStatusText(const DeliveryOutcome& outcome);

// A finished reply: the packet of `context` with the flag bits still in `op`.
struct Delivery {
    const RequestContext* context;
    const ServerParameters* parameters;
    IpAddress localAddress;
    bool broadcast;          // the client's BROADCAST bit, or broadcasts are forced
    bool relayed;            // giaddr was set when the request came
    const char* arpMacText;  // the entry's own media address, or empty
};

// Stores 2 in `op`, sends, tries a broadcast if a directed send fails, and has the ARP entry removed later.
// Needs no lock.
DeliveryOutcome DeliverReply(const Delivery& delivery);

// One sendto. Returns 1, or 0 after reporting the failure under the live record's LogLevel.
int SendReply(SOCKET socket, const BootPacket* packet, LONG length, const sockaddr_in& destination);
