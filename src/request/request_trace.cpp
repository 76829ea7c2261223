#include "request/request_trace.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr char NotAvailable[] = "Not available";

// Dotted text of an address, or a substitute where there is no address to show.
class AddressText {
  public:
    AddressText(bool available, IpAddress address, const char* substitute)
        : shown_(available ? text_ : substitute) {
        if (available) FormatAddress(address, text_);
    }
    AddressText(const AddressText&) = delete;
    AddressText& operator=(const AddressText&) = delete;
    const char* get() const { return shown_; }

  private:
    char text_[AddressTextSize];
    const char* shown_;
};

int LittleEndian(const std::uint8_t* bytes, int count) {
    std::uint32_t value = 0;
    for (int i = count; i-- > 0;)
        value = value << 8 | bytes[i];
    return static_cast<int>(value);
}

// Those of ISO 8859-1: a terminal may act on the upper ones as well.
bool IsControl(unsigned char byte) {
    return (byte & 0x7F) < 0x20 || byte == 0x7F;
}

// A text from the network, which needn't end in a NUL. Its control characters are shown as \x1b is, so that
// it can't pretend to be lines of the log.
template <std::size_t N>
struct FieldText {
    char text[4 * N + 1];

    explicit FieldText(const char (&field)[N]) {
        static constexpr char Digits[] = "0123456789abcdef";
        char* at = text;
        for (std::size_t i = 0; i < N && field[i] != '\0'; ++i) {
            const auto byte = static_cast<unsigned char>(field[i]);
            if (!IsControl(byte)) {
                *at++ = field[i];
                continue;
            }
            *at++ = '\\';
            *at++ = 'x';
            *at++ = Digits[byte >> 4];
            *at++ = Digits[byte & 15];
        }
        *at = '\0';
    }
};

// A request that wasn't decoded shows no address.
struct HardwareLine {
    char text[HardwareTraceSize] = {};

    HardwareLine(const RequestTrace& trace, const BootPacket& packet) {
        if (!trace.decoded) return;
        HardwareAddressText(packet, text);
        if (*trace.arpMacText == '\0') return;
        const std::size_t length = std::strlen(text);
        std::snprintf(text + length, sizeof text - length, " MAC used for arp entry: %s", trace.arpMacText);
    }
};

}  // namespace

int FormatTrace(const RequestTrace& trace, const RequestContext& context, char (&text)[TraceSize + 1]) {
    const BootPacket& packet = *context.packet;
    const AddressText yiaddr(trace.decoded, trace.yiaddr, "");
    const AddressText siaddr(trace.decoded, trace.siaddr, "");
    const AddressText cookie(trace.decoded, trace.cookie, NotAvailable);
    const AddressText local(trace.decoded, trace.localAddress, "");
    const AddressText gateway(trace.replied, trace.gateway, NotAvailable);
    const AddressText found(trace.replied, trace.foundAddress, NotAvailable);
    const char* const vendorOptions = !trace.decoded ? "" : trace.vendorOptions ? "TRUE" : "FALSE";
    return wsprintfA(
        text,
        "\r\nPacket Received:\r\n\tPacket type: %s\r\n\tOpcode: %d\r\n\tHardware type: %d\r\n\tHardware "
        "length: %d\r\n"
        "\tHops: %d\r\n\tTransaction ID: %d\r\n\tSeconds since booting: %d\r\n\tFlags field: %d\r\n"
        "\tHardware address: %s\r\n\tClient's address inbound (YIADDR): %s\r\n\tServer address (SIADDR): "
        "%s\r\n"
        "\tGateway address: %s\r\n\tServer name: %s\r\n\tBootfile specified by client: %s\r\n"
        "\tMagic cookie specified by client: %s\r\n\tVendor options present: %s\r\n\tTotal inbound packet "
        "length: %d\r\n"
        "\tPacket received on local address: %s\r\n\tDate: %s\r\n\tTime: %s\r\n\tFind status: %s\r\n"
        "\tClient's found address: %s\r\n\tReply status: %s\r\n",
        trace.packetType, trace.opcode, packet.htype, packet.hlen, packet.hops, LittleEndian(packet.xid, 4),
        LittleEndian(packet.secs, 2), trace.flags, HardwareLine(trace, packet).text, yiaddr.get(),
        siaddr.get(), gateway.get(), FieldText(trace.serverName).text, FieldText(packet.file).text,
        cookie.get(), vendorOptions, static_cast<int>(context.length), local.get(), trace.date, trace.time,
        trace.findStatus, found.get(), trace.replyStatus);
}
