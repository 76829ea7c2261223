// The ARP helper for Linux: permanent entries in the kernel's neighbour table, entered and removed over
// netlink.
//
// An entry is made permanent because only such a one is neither probed (the client can't answer yet) nor aged
// out before its time. Each carries a mark of its maker in the kernel, by which the next run knows what a
// crash has left: that is removed when the library is loaded. Two services in one network would take each
// other's waiting entries for that, which costs a client of the first a reply and no more.
#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <mutex>
#include <new>
#include <optional>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "arp/arp_helper.h"
#include "arp/helper/local_interfaces.h"
#include "arp/helper/neighbour_table.h"

namespace {

constexpr int ReachableAnyway = 1;
constexpr int Removed = 1;
constexpr int NotRemoved = 0;

// An entry that this process has made, with how many removals are still to come and from which local address.
struct MadeEntry {
    NeighbourKey key;
    HardwareAddress address;
    std::vector<std::pair<std::uint32_t, std::uint64_t>> holders;
};

class Helper {
  public:
    int Add(std::uint32_t local, std::uint32_t client, const HardwareAddress& wanted);
    int Remove(std::uint32_t client, std::uint32_t local);
    void RemoveLeftOvers();

  private:
    using Entries = std::unordered_multimap<std::uint32_t, MadeEntry>;

    int Enter(const NeighbourKey& key, const HardwareAddress& wanted);
    Entries::iterator FindMade(const NeighbourKey& key);
    void Hold(const NeighbourKey& key, const HardwareAddress& address, std::uint32_t local);

    std::mutex mutex_;
    LocalInterfaces interfaces_;
    NeighbourTable table_;
    Entries made_;  // by client
};

Helper::Entries::iterator Helper::FindMade(const NeighbourKey& key) {
    const auto [first, last] = made_.equal_range(key.client);
    const auto found =
        std::find_if(first, last, [&key](const auto& entry) { return entry.second.key == key; });
    return found == last ? made_.end() : found;
}

void Helper::Hold(const NeighbourKey& key, const HardwareAddress& address, std::uint32_t local) {
    auto entry = FindMade(key);
    if (entry == made_.end())
        entry = made_.emplace(key.client, MadeEntry{.key = key, .address = {}, .holders = {}});
    entry->second.address = address;
    auto& holders = entry->second.holders;
    const auto holder = std::ranges::find(holders, local, &std::pair<std::uint32_t, std::uint64_t>::first);
    if (holder == holders.end()) {
        holders.emplace_back(local, 1);
    } else {
        ++holder->second;
    }
}

int Helper::Enter(const NeighbourKey& key, const HardwareAddress& wanted) {
    const auto made = FindMade(key);
    if (made == made_.end()) {
        // Most clients have no entry at all, so the kernel is asked what is there only if this fails.
        const int error = table_.Enter(key, wanted, NeighbourTable::IfPresent::Fail);
        if (error != EEXIST) return error == 0 ? ArpAddCreated : ArpAddFailed;
    }
    std::optional<Neighbour> present;
    if (table_.Read(key, present) != 0) return ArpAddFailed;
    switch (DecideEntry(present, wanted)) {
        case NeighbourAction::Enter:
            return table_.Enter(key, wanted, NeighbourTable::IfPresent::Replace) == 0 ? ArpAddCreated
                                                                                      : ArpAddFailed;
        case NeighbourAction::KeepOurs:
            return ArpAddCreated;
        case NeighbourAction::LeaveRight:
            return ReachableAnyway;
        case NeighbourAction::LeaveWrong:
            break;
    }
    return ArpAddFailed;
}

int Helper::Add(std::uint32_t local, std::uint32_t client, const HardwareAddress& wanted) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto owner = interfaces_.Find(local);
    if (!owner) return ArpAddFailed;
    if (!owner->resolvesAddresses) return ReachableAnyway;
    if (owner->addressLength != wanted.length) return ArpAddFailed;

    const NeighbourKey key{.interfaceIndex = owner->index, .client = client};
    if (!table_.IsOnLink(key, local)) return ArpAddFailed;
    const int result = Enter(key, wanted);
    if (result == ArpAddCreated) Hold(key, wanted, local);
    return result;
}

int Helper::Remove(std::uint32_t client, std::uint32_t local) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto [first, last] = made_.equal_range(client);
    for (auto entry = first; entry != last; ++entry) {
        auto& [key, address, holders] = entry->second;
        const auto holder =
            std::ranges::find(holders, local, &std::pair<std::uint32_t, std::uint64_t>::first);
        if (holder == holders.end()) continue;
        if (--holder->second == 0) holders.erase(holder);
        if (!holders.empty()) return Removed;

        std::optional<Neighbour> present;
        const bool isOurs =
            table_.Read(key, present) == 0 && present && IsOfHelper(*present) && present->address == address;
        const bool isRemoved = isOurs && table_.Remove(key) == 0;
        made_.erase(entry);
        return isRemoved ? Removed : NotRemoved;
    }
    return NotRemoved;
}

// Of the network namespace in which the library is loaded.
void Helper::RemoveLeftOvers() {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<NeighbourKey> keys;
    if (table_.FindOwn(keys) != 0) return;
    for (const NeighbourKey& key : keys)
        table_.Remove(key);
}

// Threads may still be at it when the process ends, so it is never destroyed.
Helper& TheHelper() {
    static auto& helper = *new Helper;
    return helper;
}

[[gnu::constructor]] void RemoveWhatACrashLeft() try {
    TheHelper().RemoveLeftOvers();
} catch (const std::bad_alloc&) {
} catch (const std::system_error&) {
}

std::optional<std::uint32_t> ParseAddress(const char* text) {
    in_addr address{};
    if (text == nullptr || inet_pton(AF_INET, text, &address) != 1) return std::nullopt;
    return address.s_addr;
}

}  // namespace

// The address of the bytes isn't needed: what belongs to the net address is `mediaAddress`, also if the
// two differ.
extern "C" [[gnu::visibility("default")]] int ArpAdd(const char* localAddress, const char* clientAddress,
                                                     const char* mediaAddress,
                                                     const unsigned char* hardwareAddress, int, const char*) {
    const auto local = ParseAddress(localAddress);
    const auto client = ParseAddress(clientAddress);
    if (!local || !client || mediaAddress == nullptr || hardwareAddress == nullptr) return ArpAddFailed;
    const auto wanted = ParseHardwareAddress(mediaAddress);
    if (!wanted) return ArpAddFailed;
    try {
        return TheHelper().Add(*local, *client, *wanted);
    } catch (const std::bad_alloc&) {
    } catch (const std::system_error&) {
    }
    return ArpAddFailed;
}

extern "C" [[gnu::visibility("default")]] int ArpRemove(const char* clientAddress, const char* localAddress) {
    const auto client = ParseAddress(clientAddress);
    const auto local = ParseAddress(localAddress);
    if (!client || !local) return NotRemoved;
    try {
        return TheHelper().Remove(*client, *local);
    } catch (const std::bad_alloc&) {
    } catch (const std::system_error&) {
    }
    return NotRemoved;
}

static_assert(std::is_same_v<decltype(&ArpAdd), ArpAddFunction>);
static_assert(std::is_same_v<decltype(&ArpRemove), ArpRemoveFunction>);
