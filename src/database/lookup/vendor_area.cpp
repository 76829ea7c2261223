#include "database/lookup/vendor_area.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "database/lookup/option_list.h"

namespace {

enum class MessageType : BYTE {
    Discover = 1,
    Offer = 2,
    Request = 3,
    Decline = 4,
    Ack = 5,
    Nak = 6,
    Release = 7
};

// Renewal time, rebinding time, lease time and subnet mask go first, and to every client.
constexpr BYTE LeadingCodes[] = {58, 59, 51, TagSubnetMask};

constexpr std::size_t HeaderSize = 9;

// Writes up to the end of the packet; what doesn't fit is gone.
struct ReplyWriter {
    BYTE* position;
    BYTE* end;

    void Append(const BYTE* bytes, std::size_t count) {
        count = std::min(count, static_cast<std::size_t>(end - position));
        std::memcpy(position, bytes, count);
        position += count;
    }
};

// The codes that a client gets, each once: 256 at most.
struct WorkingList {
    std::array<BYTE, 256> codes;
    std::size_t count = 0;
    std::array<bool, 256> present = {};

    void Add(const BYTE* bytes, std::size_t length) {
        for (std::size_t at = 0; at < length; ++at) {
            if (present[bytes[at]]) continue;
            present[bytes[at]] = true;
            codes[count++] = bytes[at];
        }
    }
};

OptionList TemplateOf(const ClientEntry* entry) {
    const BYTE* options = Options(&entry->packet);
    return {options, options + entry->templateCapacity, PadRule::Options};
}

void AppendHeader(ReplyWriter* reply, MessageType type, IpAddress server) {
    const BYTE header[HeaderSize] = {TagMessageType,
                                     1,
                                     static_cast<BYTE>(type),
                                     TagServerIdentifier,
                                     4,
                                     server.bytes[0],
                                     server.bytes[1],
                                     server.bytes[2],
                                     server.bytes[3]};
    reply->Append(header, sizeof(header));
}

bool WriteWholeTemplate(BYTE* options, BYTE* end, const ClientEntry* entry, MessageType type,
                        IpAddress server) {
    if (static_cast<std::size_t>(end - options) < HeaderSize) return false;
    ReplyWriter reply = {options, end};
    AppendHeader(&reply, type, server);
    reply.Append(Options(&entry->packet), static_cast<std::size_t>(entry->templateCapacity));
    return true;
}

// `requested` stands in the area that is written over, so its codes are taken first.
void WriteSelectedOptions(BYTE* options, BYTE* end, const ClientEntry* entry, const OptionView& requested,
                          IpAddress server) {
    WorkingList working;
    working.Add(LeadingCodes, sizeof(LeadingCodes));
    working.Add(requested.value, requested.length);

    ReplyWriter reply = {options, end};
    AppendHeader(&reply, MessageType::Ack, server);
    const OptionList offered = TemplateOf(entry);
    for (std::size_t at = 0; at < working.count; ++at) {
        const auto option = FindOption(offered, working.codes[at]);
        if (!option || option->form != OptionForm::Whole) continue;
        reply.Append(option->start, option->length + 2);
    }
    reply.Append(&TagEnd, 1);
}

IpAddress AddressIn(const OptionList& list, const OptionView& option) {
    IpAddress address;
    CopyOptionValue(list, option, address.bytes, sizeof(address.bytes));
    return address;
}

bool ComposeReplyToRequest(BootPacket* packet, const OptionList& request, BYTE* end, BYTE* messageType,
                           const ClientEntry* entry, IpAddress server) {
    const auto identifier = FindOption(request, TagServerIdentifier);
    if (identifier && AddressIn(request, *identifier) != server) return false;  // it talks to another server

    const auto wanted = FindOption(request, TagRequestedAddress);
    if (wanted && AddressIn(request, *wanted) != entry->packet.yiaddr) {
        *messageType = static_cast<BYTE>(MessageType::Nak);
        return true;
    }

    const auto parameters = FindOption(request, TagParameterList);
    if (!parameters) return WriteWholeTemplate(Options(packet), end, entry, MessageType::Ack, server);
    WriteSelectedOptions(Options(packet), end, entry, *parameters, server);
    return true;
}

}  // namespace

VendorFit FitVendorOptions(BYTE* options, const BYTE* end, const ClientEntry* entry) {
    if (end < options || FindOption({options, end}, TagMessageType)) return VendorFit::DhcpShaped;
    const std::ptrdiff_t size = std::min<std::ptrdiff_t>(entry->templateCapacity, end - options);
    std::memcpy(options, Options(&entry->packet), static_cast<std::size_t>(size));
    return VendorFit::PlainBootp;
}

bool ComposeDhcpReply(BootPacket* packet, BYTE* end, const ClientEntry* entry, IpAddress serverAddress) {
    BYTE* options = Options(packet);
    const OptionList request = {options, end};
    const auto message = FindOption(request, TagMessageType);
    if (!message) return false;
    const BYTE type = message->value < end ? *message->value : BYTE{0};
    switch (static_cast<MessageType>(type)) {
        case MessageType::Discover:
            return WriteWholeTemplate(options, end, entry, MessageType::Offer, serverAddress);
        case MessageType::Request: {
            BYTE* messageType = options + (message->value - options);
            return ComposeReplyToRequest(packet, request, end, messageType, entry, serverAddress);
        }
        case MessageType::Decline:
        case MessageType::Release:
            return true;
        default:
            return false;
    }
}
