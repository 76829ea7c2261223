// The kernel's messages about addresses, links, routes and neighbours: whatever comes, it is read within its
// bytes, and each operation ends.
#include <libmnl/libmnl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "arp/helper/local_interfaces.h"
#include "arp/helper/neighbour_table.h"
#include "class_a/fuzz/expect.h"
#include "platform/linux/net/interface_table.h"

namespace {

struct Input {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
    std::uint32_t sequence = 0;
    int received = 0;
} Rest;

constexpr int MostReceived = 64;  // in one operation; a kernel that never ends a table isn't meant

std::uint32_t PortOf(int descriptor) {
    sockaddr_nl own{};
    socklen_t size = sizeof own;
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&own), &size);
    return own.nl_pid;
}

// The messages of the chunk answer the last request: a wrong number ends all reading at once.
void MakeAnswer(std::vector<std::uint8_t>* chunk, std::uint32_t port) {
    for (std::size_t at = 0; chunk->size() - at >= sizeof(nlmsghdr);) {
        auto* message = reinterpret_cast<nlmsghdr*>(chunk->data() + at);
        message->nlmsg_seq = Rest.sequence;
        message->nlmsg_pid = port;
        if (message->nlmsg_len < sizeof *message || message->nlmsg_len > chunk->size() - at) return;
        at += std::min<std::size_t>(MNL_ALIGN(message->nlmsg_len), chunk->size() - at);
    }
}

}  // namespace

extern "C" ssize_t __wrap_mnl_socket_sendto(const mnl_socket*, const void* request, size_t size) {
    Rest.sequence = static_cast<const nlmsghdr*>(request)->nlmsg_seq;
    expect(static_cast<const nlmsghdr*>(request)->nlmsg_len == size, "a request is whole");
    return static_cast<ssize_t>(size);
}

// A byte for the length of the next chunk in words, and a bit of it for an error instead.
extern "C" ssize_t __wrap_recvmsg(int descriptor, msghdr* into, int) {
    if (Rest.size == 0 || ++Rest.received > MostReceived) {
        errno = EAGAIN;
        return -1;
    }
    const std::uint8_t head = *Rest.data++;
    --Rest.size;
    if (head >= 0xF8) {
        errno = head == 0xFF ? ENOBUFS : head == 0xFE ? EINTR : EIO;
        return -1;
    }
    const std::size_t room = into->msg_iov->iov_len;
    std::vector<std::uint8_t> chunk(Rest.data,
                                    Rest.data + std::min({Rest.size, std::size_t{4} * head, room}));
    Rest.data += chunk.size();
    Rest.size -= chunk.size();
    MakeAnswer(&chunk, PortOf(descriptor));
    std::ranges::copy(chunk, static_cast<std::uint8_t*>(into->msg_iov->iov_base));
    *static_cast<sockaddr_nl*>(into->msg_name) = {
        .nl_family = AF_NETLINK, .nl_pad = 0, .nl_pid = 0, .nl_groups = 0};
    into->msg_flags = 0;
    return static_cast<ssize_t>(chunk.size());
}

// The first byte says what is asked.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    Rest = {data + 1, size - 1, 0, 0};
    static const auto notices = NetlinkSocket::Open();
    expect(notices != nullptr, "a socket can be had");
    NeighbourTable table;
    const NeighbourKey key{.interfaceIndex = 2, .client = 0x1100000A};
    switch (data[0] % 6) {
        case 0: {
            std::vector<AddressRow> rows;
            if (ReadAddressTable(rows) != 0) break;
            for (const AddressRow& row : rows)
                expect(FindAddress(rows, row.address) != nullptr, "a row is found by its address");
            break;
        }
        case 1:
            while (notices->Receive([](const nlmsghdr& message) { ParseAddressRow(message); }) == 0) {
            }
            break;
        case 2: {
            LinkFacts link;
            ReadLink(*NetlinkSocket::Open(), 2, link);
            break;
        }
        case 3: {
            std::optional<Neighbour> neighbour;
            if (table.Read(key, neighbour) == 0 && neighbour)
                expect(neighbour->address.length <= HardwareAddress::Longest, "an address has its bounds");
            break;
        }
        case 4:
            table.IsOnLink(key, 0x0100000A);
            break;
        default:
            LocalInterfaces().Find(0x0100000A);
    }
    return 0;
}
