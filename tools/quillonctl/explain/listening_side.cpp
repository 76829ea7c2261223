#include "quillonctl/explain/listening_side.h"

#include <algorithm>
#include <stdexcept>

#include "quillonctl/local_addresses.h"
#include "quillonctl/request_builder.h"
#include "request/interfaces.h"

namespace quillonctl {

ListeningSide::ListeningSide(const ServerParameters& record, const std::string& interface) {
    IpAddress table[MaxLocalAddresses] = {};
    DWORD count = 0;
    if (record.LocalAddrs[0] != '\0')
        count = ParseLocalAddresses(record.LocalAddrs, table);
    else
        EnumerateLocalAddresses(&count, table);
    const auto named = ParseAddress(interface);
    const std::vector<IpAddress> wanted = named ? std::vector{*named} : AddressesOfInterface(interface);
    const auto isWanted = [&](IpAddress one) { return std::ranges::find(wanted, one) != wanted.end(); };
    const auto* found = std::find_if(table, table + count, isWanted);
    if (!interface.empty() && found == table + count)
        throw std::runtime_error("the service doesn't listen on '" + interface + "'");
    if (!interface.empty()) index_ = static_cast<DWORD>(found - table);
    if (!interface.empty() || count == 1) heard_ = table[index_];
    for (DWORD i = 0; i < count; ++i)
        LocalAddresses[i] = table[i];
    BoundCount = count;
}

ListeningSide::~ListeningSide() {
    BoundCount = 0;
}

std::optional<IpAddress> ListeningSide::BetterFor(const BootPacket* reply, LONG length) const {
    DWORD better = index_;
    if (!heard_ || !IsBetterInterface(&better, reply, length)) return std::nullopt;
    return LocalAddresses[better].load();
}

}  // namespace quillonctl
