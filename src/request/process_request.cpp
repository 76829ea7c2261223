#include "request/process_request.h"

#include "diagnostics/messages.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "database/lookup/find_client.h"
#include "diagnostics/activity_log.h"
#include "diagnostics/event_report.h"
#include "request/address_list.h"
#include "request/interfaces.h"
#include "request/outcome_count.h"
#include "request/pool_state.h"
#include "request/reply_delivery.h"
#include "request/request_trace.h"
#include "service/generation.h"

namespace {

constexpr DWORD TraceWait = 2000;
constexpr std::uint8_t BroadcastBit = 0x80;
constexpr std::size_t ArpMacTextSize = 100;

// One request on its way. The generation's record never changes, so a pinned one serves as the request's own
// copy of the parameters: all that is read of a record for a request is read of this one.
struct RequestInHand {
    RequestContext context;
    const PinnedGeneration generation;
    RequestTrace trace;
    RequestOutcome outcome;
    bool broadcast = false;
    bool relayed = false;
    char arpMacText[ArpMacTextSize];
    char betterInterface[128];

    explicit RequestInHand(const RequestContext& given) : context(given), generation(given.blockOwner) {
        trace.opcode = packet()->op;
        arpMacText[0] = '\0';
    }
    const ServerParameters& parameters() const { return generation.record(); }
    BootPacket* packet() const { return context.packet; }
};

// Retired: a reload has replaced the list before the lookup got at it, and nothing has been done yet.
enum class Decision { Done, Retired };

struct StatusRow {
    const char* packetType;
    const char* findStatus;
    DWORD event;  // 0: none
    int stringCount;
    Refusal refusal = Refusal::Undefined;  // of a status without a reply
};

constexpr StatusRow Refused(Refusal refusal, DWORD event = 0, int stringCount = NoString) {
    return {nullptr, TextOf(refusal), event, stringCount, refusal};
}

constexpr StatusRow StatusTable[] = {
    {"DHCP", "Found in database file", 0, NoString},
    {"DHCP", "Found in cache", 0, NoString},
    {"BOOTP", "Found in database file", 0, NoString},
    {"BOOTP", "Found in cache", 0, NoString},
    Refused(Refusal::UnknownClient),
    Refused(Refusal::HardwareType, EVENT_HARDWARE_TYPE_MISMATCH, OneString),
    Refused(Refusal::Dropped),
    Refused(Refusal::Malformed, EVENT_MALFORMED_ENTRY, OneString),
    Refused(Refusal::Undefined, EVENT_SYSTEM_ERROR, SystemString),
};
constexpr int UndefinedStatus = 8;
constexpr int LastStatusWithReply = 3;

void ReadRequest(RequestInHand* request) {
    RequestTrace& trace = request->trace;
    BootPacket* const packet = request->packet();
    trace.decoded = true;
    trace.localAddress = LocalAddresses[request->context.interfaceIndex].load();
    trace.flags = packet->flags[0];
    request->broadcast = (trace.flags & BroadcastBit) != 0 || request->parameters().ForceBroadcast != 0;
    request->relayed = packet->giaddr != IpAddress{};
    const std::uint8_t firstOption = *Options(packet);
    trace.vendorOptions = firstOption != TagEnd && firstOption != TagPad;
    trace.yiaddr = packet->yiaddr;
    trace.siaddr = packet->siaddr;
    trace.cookie = packet->cookie;
    if (request->parameters().LogHandle == nullptr) return;  // no one will read the texts
    std::memcpy(trace.serverName, packet->sname, sizeof packet->sname);
    _strtime(trace.time);
    _strdate(trace.date);
}

// A client may name its server by a prefix of the host name, or by the host name and more after it.
bool IsThisServer(const BootPacket& packet) {
    if (packet.sname[0] == '\0') return true;
    const std::size_t named = strnlen(packet.sname, sizeof packet.sname);
    return _strnicmp(packet.sname, HostName, std::min(named, std::strlen(HostName))) == 0;
}

bool IsRelayAnswered(const RequestInHand& request) {
    const char* const agents = request.parameters().RelayAgents;
    return !request.relayed || *agents == '\0' || IsListed(agents, request.packet()->giaddr);
}

int LookUpClient(RequestInHand* request) {
    const ServerParameters& parameters = request->parameters();
    BootPacket* const packet = request->packet();
    DWORD unread = 0;
    return FindClient(parameters.TerminateStrings, parameters.ClientHeap, parameters.DatabasePath, &unread,
                      parameters.ClientList, parameters.OptionCatalogue, packet,
                      reinterpret_cast<BYTE*>(packet) + request->context.length, request->trace.localAddress,
                      ClientListMutex, parameters.ExpireHits, request->arpMacText, &request->outcome.listed);
}

void ReportFinding(const RequestInHand& request, const StatusRow& row, DWORD error) {
    char hardwareText[HardwareTextSize];
    HardwareAddressText(*request.packet(), hardwareText);
    ReportServiceEvent(EventSource, row.event, row.stringCount, hardwareText,
                       static_cast<WORD>(request.parameters().LogLevel), error);
}

// Notes what the lookup said. True if the packet holds a reply now.
bool NoteFinding(RequestInHand* request, int status) {
    const DWORD error = GetLastError();
    const StatusRow& row = StatusTable[status >= 0 && status < UndefinedStatus ? status : UndefinedStatus];
    if (row.packetType != nullptr) request->trace.packetType = row.packetType;
    request->trace.findStatus = row.findStatus;
    if (row.event != 0) ReportFinding(*request, row, error);
    request->outcome.status = status;
    if (status >= 0 && status <= LastStatusWithReply) return true;
    request->outcome.refusal = row.refusal;
    return false;
}

// On a host with several interfaces the one on the client's subnet answers.
bool IsLeftToAnotherInterface(RequestInHand* request) {
    RequestContext& context = request->context;
    if (BoundCount.load() <= 1 || !IsBetterInterface(&context.interfaceIndex, context.packet, context.length))
        return false;
    char better[AddressTextSize];
    FormatAddress(LocalAddresses[context.interfaceIndex].load(), better);
    std::snprintf(request->betterInterface, sizeof request->betterInterface,
                  "Local interface %s is more suitable for this query. Skipping reply.", better);
    request->trace.replyStatus = request->betterInterface;
    request->outcome.refusal = Refusal::OtherInterface;
    return true;
}

// A host name longer than the field is cut, with its NUL.
void NameServer(BootPacket* packet) {
    const std::size_t length = std::min(std::strlen(HostName), sizeof packet->sname - 1);
    std::memcpy(packet->sname, HostName, length);
    packet->sname[length] = '\0';
}

void SendFoundReply(RequestInHand* request) {
    BootPacket* const packet = request->packet();
    RequestTrace& trace = request->trace;
    trace.replied = true;
    trace.foundAddress = packet->yiaddr;
    trace.gateway = packet->giaddr;
    NameServer(packet);
    packet->siaddr = LocalAddresses[request->context.interfaceIndex].load();
    const Delivery delivery = {&request->context,  &request->parameters(), packet->siaddr,
                               request->broadcast, request->relayed,       request->arpMacText};
    request->outcome.delivery = DeliverReply(delivery);
    trace.replyStatus = ReplyStatusText(request->outcome.delivery);
}

Decision Refuse(RequestInHand* request, Refusal refusal) {
    request->trace.findStatus = TextOf(refusal);
    request->outcome.refusal = refusal;
    return Decision::Done;
}

Decision DecideAndReply(RequestInHand* request) {
    if (request->trace.opcode != BootRequestOpcode) return Refuse(request, Refusal::Opcode);
    ReadRequest(request);
    if (!IsThisServer(*request->packet())) return Refuse(request, Refusal::ServerName);
    if (!IsRelayAnswered(*request)) return Refuse(request, Refusal::RelayAgent);
    const int status = LookUpClient(request);
    if (status == FindListRetired) return Decision::Retired;
    if (!NoteFinding(request, status)) return Decision::Done;
    if (request->packet()->yiaddr == IpAddress{}) {
        request->outcome.refusal = Refusal::NoAddress;
        request->trace.replyStatus = TextOf(Refusal::NoAddress);
    } else if (!IsLeftToAnotherInterface(request)) {
        SendFoundReply(request);
    }
    return Decision::Done;
}

void WriteTrace(RequestInHand* request) {
    if (request->parameters().LogHandle == nullptr) return;
    request->trace.arpMacText = request->arpMacText;
    char text[TraceSize + 1];
    FormatTrace(request->trace, request->context, text);
    const ServerParameters& parameters = request->parameters();
    WriteTraceBlock(text, parameters.LogHandle, parameters.LogMutex, TraceWait, parameters.LogSizeLimit);
}

}  // namespace

void ProcessBootRequest(const RequestContext* context) {
    for (Decision decision = Decision::Retired; decision == Decision::Retired;) {
        RequestInHand request(*context);
        if (!request.generation) break;  // none is left while the service ends
        decision = DecideAndReply(&request);
        if (decision != Decision::Done) continue;
        CountOutcome(request.outcome, request.context, request.trace.localAddress);
        WriteTrace(&request);
    }
    RequestContext finished = *context;
    ReleaseRequest(&finished);
}
