#include "sample_clients.h"

namespace bench {

namespace {

std::uint8_t ByteOf(std::uint32_t number, int index) {
    return static_cast<std::uint8_t>(number >> (8 * index));
}

}  // namespace

HardwareAddress HardwareAddressOf(std::uint32_t client) {
    constexpr std::uint32_t Makers = 20;
    // An odd factor permutes the 24 bits: no two clients of a maker share a serial number.
    const std::uint32_t serial = client / Makers * 0x9E3779B1u;
    return {0x00,
            0x1A,
            static_cast<std::uint8_t>(client % Makers),
            ByteOf(serial, 2),
            ByteOf(serial, 1),
            ByteOf(serial, 0)};
}

NetworkAddress NetworkAddressOf(std::uint32_t client) {
    const std::uint32_t host = client + 1;
    return {10, ByteOf(host, 2), ByteOf(host, 1), ByteOf(host, 0)};
}

}  // namespace bench
