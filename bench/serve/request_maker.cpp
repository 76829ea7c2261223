#include "request_maker.h"

#include <cstring>
#include <iterator>

namespace bench {

namespace {

enum Offset : std::size_t {
    Opcode = 0,
    HardwareType = 1,
    HardwareLength = 2,
    Transaction = 4,
    ClientAddress = 16,  // yiaddr
    RelayAddress = 24,
    ClientHardware = 28,
    Cookie = 236,
    Options = 240,
};

constexpr std::uint8_t OpRequest = 1;
constexpr std::uint8_t OpReply = 2;
constexpr std::uint8_t Ethernet = 1;
constexpr std::uint8_t MagicCookie[] = {99, 130, 83, 99};

constexpr std::uint8_t DiscoverOptions[] = {
    53,  1, 1,                // message type: DISCOVER
    55,  5, 1, 3, 6, 12, 51,  // wanted: mask, gateways, name servers, host name, lease
    255,
};
constexpr std::uint8_t OfferStart[] = {53, 1, 2};

}  // namespace

void MakeRequest(const RequestForm& form, std::uint32_t client, std::uint32_t transaction,
                 Datagram* request) {
    std::uint8_t* const bytes = request->bytes;
    std::memset(bytes, 0, RequestSize);
    bytes[Opcode] = OpRequest;
    bytes[HardwareType] = Ethernet;
    bytes[HardwareLength] = form.hardwareLength;
    std::memcpy(bytes + Transaction, &transaction, sizeof transaction);
    std::memcpy(bytes + RelayAddress, form.relay.data(), form.relay.size());
    const HardwareAddress hardware = HardwareAddressOf(client);
    std::memcpy(bytes + ClientHardware, hardware.data(), hardware.size());
    std::memcpy(bytes + Cookie, MagicCookie, sizeof MagicCookie);
    if (form.kind == RequestKind::Discover)
        std::memcpy(bytes + Options, DiscoverOptions, sizeof DiscoverOptions);
    else
        bytes[Options] = 255;
}

std::optional<std::uint32_t> TransactionOf(Server server, RequestKind kind, const std::uint8_t* bytes,
                                           std::size_t length) {
    if (length != RequestSize || bytes[Opcode] != (server == Server::Echo ? OpRequest : OpReply)) return {};
    if (std::memcmp(bytes + Cookie, MagicCookie, sizeof MagicCookie) != 0) return {};
    const bool isOffer = std::memcmp(bytes + Options, OfferStart, sizeof OfferStart) == 0;
    if (server == Server::Service && isOffer != (kind == RequestKind::Discover)) return {};
    std::uint32_t transaction;
    std::memcpy(&transaction, bytes + Transaction, sizeof transaction);
    return transaction;
}

bool IsReplyFor(Server server, std::uint32_t client, const std::uint8_t* bytes) {
    const HardwareAddress hardware = HardwareAddressOf(client);
    const NetworkAddress address = server == Server::Echo ? NetworkAddress{} : NetworkAddressOf(client);
    return std::memcmp(bytes + ClientHardware, hardware.data(), hardware.size()) == 0 &&
           std::memcmp(bytes + ClientAddress, address.data(), address.size()) == 0;
}

}  // namespace bench
