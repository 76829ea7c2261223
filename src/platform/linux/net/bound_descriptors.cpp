#include "platform/linux/net/bound_descriptors.h"

#include <linux/filter.h>
#include <net/if.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <vector>

#include "platform/linux/net/interface_table.h"

namespace {

constexpr int ReceiveBufferBytes = 4 * 1024 * 1024;

template <class Value>
int SetOption(const Descriptor& descriptor, int level, int option, const Value& value) {
    return setsockopt(descriptor.Get(), level, option, &value, sizeof value) == 0 ? 0 : errno;
}

int BindTo(const Descriptor& descriptor, const sockaddr_in& address) {
    return bind(descriptor.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0
                                                                                                    : errno;
}

int FilterByInterface(const Descriptor& descriptor, std::uint32_t interfaceIndex) {
    constexpr auto InterfaceIndexOfPacket = static_cast<std::uint32_t>(SKF_AD_OFF + SKF_AD_IFINDEX);
    std::array<sock_filter, 4> program{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, InterfaceIndexOfPacket),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, interfaceIndex, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, 0xFFFFFFFF),
        BPF_STMT(BPF_RET | BPF_K, 0),
    }};
    const sock_fprog filter{.len = program.size(), .filter = program.data()};
    return SetOption(descriptor, SOL_SOCKET, SO_ATTACH_FILTER, filter);
}

int LimitToInterface(const Descriptor& descriptor, std::uint32_t interfaceIndex, InterfaceLimit limit) {
    return limit == InterfaceLimit::Binding
               ? SetOption(descriptor, SOL_SOCKET, SO_BINDTOIFINDEX, static_cast<int>(interfaceIndex))
               : FilterByInterface(descriptor, interfaceIndex);
}

int OpenBroadcast(const sockaddr_in& own, std::uint32_t broadcast, std::uint32_t interfaceIndex,
                  Descriptor& descriptor) {
    sockaddr_in address = own;
    address.sin_addr.s_addr = broadcast;
    const int error = OpenInterfaceDescriptor(address, interfaceIndex, InterfaceLimit::Binding, descriptor);
    // Kernels that let only the privileged bind to an interface, or that don't know the option.
    if (error != EPERM && error != ENOPROTOOPT) return error;
    return OpenInterfaceDescriptor(address, interfaceIndex, InterfaceLimit::Filter, descriptor);
}

bool IsBroadcastOrMulticast(std::uint32_t address, const std::vector<AddressRow>& table) {
    if (address == INADDR_BROADCAST || IN_MULTICAST(ntohl(address))) return true;
    for (const AddressRow& row : table) {
        if (row.broadcast == address) return true;
    }
    return false;
}

}  // namespace

int OpenDatagramDescriptor(Descriptor& descriptor) {
    // The descriptor itself stays blocking, and each call says that it won't wait: only for a blocking one
    // does the kernel check a datagram's sum before it calls the descriptor readable.
    descriptor.Reset(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP));
    if (!descriptor) return errno;
    // As much as is allowed will do, so neither result is looked at.
    if (SetOption(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, ReceiveBufferBytes) != 0) {
        SetOption(descriptor, SOL_SOCKET, SO_RCVBUF, ReceiveBufferBytes);
    }
    return 0;
}

int OpenInterfaceDescriptor(const sockaddr_in& address, std::uint32_t interfaceIndex, InterfaceLimit limit,
                            Descriptor& descriptor) {
    int error = OpenDatagramDescriptor(descriptor);
    // Each address of the interface has such a descriptor, all bound to the same.
    if (error == 0) error = SetOption(descriptor, SOL_SOCKET, SO_REUSEADDR, 1);
    // An interface that is down has no route for its broadcasts yet, and nothing reports when it goes up.
    if (error == 0) error = SetOption(descriptor, IPPROTO_IP, IP_FREEBIND, 1);
    // Ahead of the binding, so that nothing of another interface slips in between.
    if (error == 0) error = LimitToInterface(descriptor, interfaceIndex, limit);
    if (error == 0) error = BindTo(descriptor, address);
    if (error != 0) descriptor.Reset();
    return error;
}

int OpenBroadcastDescriptors(const sockaddr_in& own, BroadcastDescriptors& broadcasts) {
    const std::uint32_t address = own.sin_addr.s_addr;
    if (address == INADDR_ANY) return 0;  // such a descriptor gets the broadcasts itself

    std::vector<AddressRow> table;
    if (const int error = ReadAddressTable(table); error != 0) return error;
    const AddressRow* row = FindAddress(table, address);
    if (row == nullptr) return IsBroadcastOrMulticast(address, table) ? EADDRNOTAVAIL : 0;

    const auto netlink = NetlinkSocket::Open();
    if (netlink == nullptr) return errno;
    LinkFacts link;
    if (const int error = ReadLink(*netlink, row->interfaceIndex, link); error != 0) return error;
    if ((link.flags & IFF_BROADCAST) == 0 || (link.flags & IFF_LOOPBACK) != 0) return 0;

    int error = OpenBroadcast(own, INADDR_BROADCAST, row->interfaceIndex, broadcasts.limited);
    if (error == 0 && row->broadcast != 0) {
        error = OpenBroadcast(own, row->broadcast, row->interfaceIndex, broadcasts.directed);
    }
    if (error != 0) broadcasts = {};
    return error;
}
