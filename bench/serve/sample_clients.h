// The clients of the measurements. A number stands for a client: its hardware address and its place in the
// network follow from it, so that whoever asks and whoever writes bootptab agree without a file between them.
#pragma once

#include <array>
#include <cstdint>

namespace bench {

using HardwareAddress = std::array<std::uint8_t, 6>;
using NetworkAddress = std::array<std::uint8_t, 4>;

// Numbers below this have addresses of their own.
inline constexpr std::uint32_t MostClients = 10'000'000;

// The last bytes look as random as those of machines bought from twenty makers.
HardwareAddress HardwareAddressOf(std::uint32_t client);

NetworkAddress NetworkAddressOf(std::uint32_t client);

}  // namespace bench
