// The addresses by which a service on this machine may be reached.
#pragma once

#include <string>
#include <vector>

#include "request/boot_packet.h"

namespace quillonctl {

// The readable pieces of a list as the parameter LocalAddrs holds it: parted by commas, ended by an empty
// piece.
std::vector<IpAddress> ParseLocalAddrs(const std::string& list);

// Those of the parameter LocalAddrs of the home, then the loopback address, then the interfaces' own; each
// once.
std::vector<IpAddress> LocalServiceAddresses();

// Those of one interface, by its name, in the system's order.
std::vector<IpAddress> AddressesOfInterface(const std::string& name);

}  // namespace quillonctl
