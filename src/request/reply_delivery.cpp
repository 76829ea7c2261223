#include "request/reply_delivery.h"

#include "diagnostics/messages.h"

#include <cstdio>
#include <cstring>

#include "arp/arp_expiry.h"
#include "diagnostics/event_report.h"
#include "platform/lazy_release.h"
#include "service/server_parameters.h"

namespace {

// The first three of the routes that are told of.
static_assert(static_cast<int>(Route::Relay) == static_cast<int>(ReplyRoute::Relay) &&
              static_cast<int>(Route::Broadcast) == static_cast<int>(ReplyRoute::Broadcast) &&
              static_cast<int>(Route::Directed) == static_cast<int>(ReplyRoute::Directed));

constexpr IpAddress LimitedBroadcast = {{255, 255, 255, 255}};

void SetAddress(sockaddr_in* destination, IpAddress address) {
    std::memcpy(&destination->sin_addr, address.bytes, sizeof address.bytes);
}

void ReportArpFailure(const Delivery& delivery, const char* clientText, const char* hardwareText) {
    char text[256];
    std::snprintf(text, sizeof text, "Arp entry for net address %s with media address %s failed.", clientText,
                  hardwareText);
    LogEventText(EVENT_ERROR_TEXT, text, delivery.parameters->LogLevel);
}

// Returns what the helper returned.
int PrimeArp(const Delivery& delivery) {
    const BootPacket& packet = *delivery.context->packet;
    char localText[AddressTextSize];
    char clientText[AddressTextSize];
    FormatAddress(delivery.localAddress, localText);
    FormatAddress(packet.yiaddr, clientText);
    char hardwareText[HardwareTextSize];
    HardwareAddressText(packet, hardwareText);
    const char* media = delivery.arpMacText[0] != '\0' ? delivery.arpMacText : hardwareText;
    ExpectHoldUp();
    const int result = delivery.parameters->ArpAdd(localText, clientText, media, packet.chaddr, packet.hlen,
                                                   delivery.parameters->SnmpAgentPath);
    if (result == ArpAddFailed) ReportArpFailure(delivery, clientText, hardwareText);
    return result;
}

WORD PortOf(const Delivery& delivery, Route route) {
    if (route == Route::Relay) return htons(RelayPort);
    return delivery.parameters->UseClientSrcPort != 0 ? delivery.context->from.sin_port : htons(ClientPort);
}

IpAddress AddressOf(const BootPacket& packet, Route route) {
    if (route == Route::Relay) return packet.giaddr;
    return route == Route::Directed ? packet.yiaddr : LimitedBroadcast;
}

}  // namespace

void CancelBroadcast(bool forceBroadcast, std::uint8_t* flags, bool* broadcast) {
    if (forceBroadcast || (*flags & NoBroadcast) == 0) return;
    *broadcast = false;
    *flags = static_cast<std::uint8_t>(*flags & ~AlwaysBroadcast);
}

Route ChooseRoute(bool relayed, bool broadcast, std::uint8_t flags) {
    if (relayed) return Route::Relay;
    return broadcast || (flags & AlwaysBroadcast) != 0 ? Route::Broadcast : Route::Directed;
}

const char* ReplyStatusText(const DeliveryOutcome& outcome) {
    if (!outcome.broadcast) {
        if (outcome.firstSent) return "*Default: DD;succeeded   *Status: Reply successfully sent";
        return outcome.secondSent ? "*Default: DD;failed   *Tried: Broadcast;succeeded   *Status: Broadcast "
                                    "reply sent instead"
                                  : "*Default: DD;failed   *Tried: Broadcast;failed   *Status: No reply sent";
    }
    if (!outcome.firstSent)
        return "*Default: Broadcast;failed   *Tried: Nothing else   *Status: No reply sent";
    return outcome.arpTried
               ? "*Default: DD;arp entry failed, broadcast used instead   *Status: Reply successfully sent"
               : "*Default: Broadcast;succeeded   *Status: Reply successfully sent";
}

int SendReply(SOCKET socket, const BootPacket* packet, LONG length, const sockaddr_in& destination) {
    const int sent =
        sendto(socket, reinterpret_cast<const char*>(packet), static_cast<int>(length), 0,
               reinterpret_cast<const sockaddr*>(&destination), static_cast<int>(sizeof destination));
    if (sent != SOCKET_ERROR) return 1;
    LogEventError(EVENT_SEND_FAILED, static_cast<DWORD>(WSAGetLastError()));
    return 0;
}

DeliveryOutcome DeliverReply(const Delivery& delivery) {
    const RequestContext& context = *delivery.context;
    BootPacket* const packet = context.packet;
    DeliveryOutcome outcome;
    outcome.broadcast = delivery.broadcast;
    CancelBroadcast(delivery.parameters->ForceBroadcast != 0, &packet->op, &outcome.broadcast);

    Route route = ChooseRoute(delivery.relayed, outcome.broadcast, packet->op);
    outcome.route = static_cast<ReplyRoute>(route);
    int arpResult = 0;
    if (route == Route::Directed) {
        outcome.arpTried = true;
        arpResult = PrimeArp(delivery);
        if (arpResult == ArpAddFailed) {
            outcome.broadcast = true;
            route = Route::Broadcast;
            outcome.route = ReplyRoute::BroadcastNoEntry;
        }
    }

    sockaddr_in destination = context.from;
    SetAddress(&destination, AddressOf(*packet, route));
    destination.sin_port = PortOf(delivery, route);
    packet->op = BootReplyOpcode;
    outcome.firstSent = SendReply(context.socket, packet, context.length, destination) != 0;
    if (outcome.firstSent) {
        if (arpResult == ArpAddCreated) PostArpExpiry(delivery.localAddress, packet->yiaddr);
    } else if (!outcome.broadcast) {
        outcome.route = ReplyRoute::BroadcastNotSent;
        SetAddress(&destination, LimitedBroadcast);
        outcome.secondSent = SendReply(context.socket, packet, context.length, destination) != 0;
    }
    return outcome;
}
