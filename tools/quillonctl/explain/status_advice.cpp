#include "quillonctl/explain/status_advice.h"

#include <sstream>

namespace quillonctl {
namespace {

constexpr StatusAdvice FindRows[] = {
    {"Found in cache", "The client's reply was ready in memory.", "Read on at the reply status."},
    {"Found in database file",
     "The client was read from bootptab at this request: it is new since the last load, or beyond "
     "CacheSize.",
     "Nothing; if many clients show this, raise CacheSize (0: all) and reload."},
    {"Hardware address not found in database.", "No section has this name.",
     "Copy the hardware address of the block into bootptab as a section's name and reload. If the "
     "name is there: a section without any key doesn't count."},
    {"Hardware type mismatch. Check the event log.",
     "The request's hardware type isn't the one of the section, which is 1 (Ethernet) unless a key "
     "with tag -4 says otherwise.",
     "Give the section a key of tag -4 with the number in the line \"Hardware type\", if the "
     "client is right."},
    {"Packet dropped",
     "A DHCP message that this server doesn't answer: the client has chosen another server, it "
     "sent a type other than DISCOVER, REQUEST, DECLINE and RELEASE, or the packet is too short "
     "for the reply.",
     "If the client should be ours: find the other DHCP server. If the packet is short: set "
     "MinResponseSize. A client that only knows INFORM can't be served."},
    {"Error in client's database configuration. Check the event log.",
     "A value of the section can't be used: a time without two colons, an option above 255 bytes, "
     "a file name above 127 characters.",
     "Correct the section that event 0xC000001C names, reload."},
    {"Undefined error. Check the event log.", "The lookup failed in the system.",
     "Event 0xC0000021 has the reason; restart the service if it stays."},
    {"Relay agent not listed", "RelayAgents doesn't have the relay agent of the request.",
     "Add it, or find out who asks."},
    {"Invalid opcode",
     "The datagram is no request: its first byte isn't 1; or it asks for a reload and "
     "ReloadSources doesn't have its sender.",
     "Usually another server's reply or a stray datagram. Nothing, unless a relay sends replies to "
     "this port."},
    {"Not this server", "The client asks for a server by name, and it isn't this host's name.",
     "Put the host's name right (restart the service), or what the client asks for."},
    {"No Status available", "No step of the request has set a status.",
     "Restart the service, and report it with the block."},
};

constexpr StatusAdvice ReplyRows[] = {
    {"No reply sent", "The request ended at the find status.", "See there."},
    {"No address defined. Reply skipped.", "The section, with its template, has no address.",
     "Add the key with tag -2 (IP Address), reload."},
    {"Local interface 10.20.0.1 is more suitable for this query. Skipping reply.",
     "Another interface of this server is on the client's subnet and answers.",
     "Nothing, if the same request shows up on that interface; else see \"Several interfaces\"."},
    {"*Default: DD;succeeded *Status: Reply successfully sent",
     "The reply went to the client's address, or to the relay agent, or was broadcast because the "
     "section says so (tag -8).",
     "If the client doesn't hear it: let the reply be broadcast (tag -8, or ForceBroadcast)."},
    {"*Default: Broadcast;succeeded *Status: Reply successfully sent",
     "The reply was broadcast, because the client or ForceBroadcast wants that; a relayed one went "
     "to the relay agent.",
     "If the client doesn't hear it: look for a filter between them."},
    {"*Default: DD;arp entry failed, broadcast used instead *Status: Reply successfully sent",
     "The ARP helper couldn't enter the client; the reply was broadcast.",
     "See \"Directed replies and the ARP helper\"."},
    {"*Default: Broadcast;failed *Tried: Nothing else *Status: No reply sent",
     "The broadcast couldn't be sent.",
     "Event 0xC0000019 has the reason: the interface is down, or a firewall refuses it."},
    {"*Default: DD;failed *Tried: Broadcast;succeeded *Status: Broadcast reply sent instead",
     "The directed reply, or the one to the relay agent, couldn't be sent; a broadcast could.",
     "Event 0xC0000019 has the reason: usually no route to the client's address or to the relay "
     "agent."},
    {"*Default: DD;failed *Tried: Broadcast;failed *Status: No reply sent", "Neither could be sent.",
     "As above, and the interface is down, or a firewall refuses it."},
};

std::string Squeezed(std::string_view text) {
    std::istringstream words{std::string(text)};
    std::string squeezed;
    for (std::string word; words >> word;)
        squeezed += (squeezed.empty() ? "" : " ") + word;
    return squeezed;
}

// The name of the interface in the middle is that of the case at hand.
bool Fits(const StatusAdvice& row, const std::string& log) {
    constexpr std::string_view Begin = "Local interface ";
    return row.log == log || (std::string_view(row.log).starts_with(Begin) && log.starts_with(Begin));
}

}  // namespace

std::span<const StatusAdvice> FindStatusAdvice() {
    return FindRows;
}

std::span<const StatusAdvice> ReplyStatusAdvice() {
    return ReplyRows;
}

const StatusAdvice* AdviceOn(std::string_view log) {
    const std::string squeezed = Squeezed(log);
    for (const auto& rows : {FindStatusAdvice(), ReplyStatusAdvice()})
        for (const StatusAdvice& row : rows)
            if (Fits(row, squeezed)) return &row;
    return nullptr;
}

}  // namespace quillonctl
