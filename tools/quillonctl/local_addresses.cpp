#include "quillonctl/local_addresses.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <sstream>

#include "quillonctl/request_builder.h"
#include "quillonctl/service_parameter.h"

namespace quillonctl {
namespace {

void AppendOnce(std::vector<IpAddress>& addresses, const IpAddress& address) {
    if (std::ranges::find(addresses, address) == addresses.end()) addresses.push_back(address);
}

// Those of all interfaces if there is no name.
void AppendInterfaces(std::vector<IpAddress>& addresses, const std::string& name = "") {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) return;
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(first, ::freeifaddrs);
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
        if (!name.empty() && name != entry->ifa_name) continue;
        IpAddress address;
        std::memcpy(address.bytes, &reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr, 4);
        AppendOnce(addresses, address);
    }
}

}  // namespace

std::vector<IpAddress> ParseLocalAddrs(const std::string& list) {
    std::vector<IpAddress> addresses;
    std::istringstream pieces(list);
    for (std::string piece; std::getline(pieces, piece, ',') && !piece.empty();)
        if (const auto address = ParseAddress(piece)) AppendOnce(addresses, *address);
    return addresses;
}

std::vector<IpAddress> AddressesOfInterface(const std::string& name) {
    std::vector<IpAddress> addresses;
    AppendInterfaces(addresses, name);
    return addresses;
}

std::vector<IpAddress> LocalServiceAddresses() {
    // Without them, the other addresses are still worth a try.
    std::vector<IpAddress> addresses = ParseLocalAddrs(TextParameter("LocalAddrs"));
    AppendOnce(addresses, {{127, 0, 0, 1}});
    AppendInterfaces(addresses);
    return addresses;
}

}  // namespace quillonctl
