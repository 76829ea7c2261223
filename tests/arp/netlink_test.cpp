// Messages as a kernel would never send them: nothing is read outside of them, and each ends.
#include "platform/linux/net/netlink.h"

#include <gtest/gtest.h>
#include <linux/neighbour.h>

#include <cstring>
#include <random>

#include "arp/helper/neighbour_table.h"
#include "platform/linux/net/interface_table.h"

namespace {

// Goes through what was received, and returns how many messages were handed over. The block ends right after
// the last byte, so that a sanitizer sees a read beyond.
int ParseAll(const std::vector<char>& received) {
    const std::vector<char> exact(received);
    int count = 0;
    HandOverMessages(exact.data(), exact.size(), 0, 0, [&count](const nlmsghdr& message) {
        ++count;
        ParseAddressRow(message);
        ParseLink(message);
        if (const auto row = ParseNeighbourRow(message)) {
            EXPECT_LE(row->neighbour.address.length, HardwareAddress::Longest);
        }
    });
    return count;
}

std::vector<char> NeighbourMessage() {
    NetlinkRequest request(RTM_NEWNEIGH);
    auto* fixed = request.Add<ndmsg>();
    fixed->ndm_family = AF_INET;
    fixed->ndm_state = NUD_PERMANENT;
    const std::uint32_t client = 0x3201010A;
    const std::array<std::uint8_t, 40> address{};
    request.AddAttribute(NDA_DST, &client, sizeof client);
    request.AddAttribute(NDA_LLADDR, address.data(), address.size());
    const auto* begin = reinterpret_cast<const char*>(request.Header());
    return {begin, begin + request.Header()->nlmsg_len};
}

TEST(NetlinkMessages, LengthsThatDoNotFitEndTheParsing) {
    const std::vector<char> good = NeighbourMessage();
    std::vector<char> two = good;
    two.insert(two.end(), good.begin(), good.end());
    EXPECT_EQ(ParseAll(two), 2);
    const std::tuple<const char*, std::size_t, std::uint32_t, std::size_t, int> cases[] = {
        {"an empty block", 0, 0, 0, 0},
        {"a header that is cut", 0, 100, 8, 0},
        {"length 0", 0, 0, 4, 0},
        {"shorter than a header", 0, 15, 4, 0},
        {"longer than the block", 0, 0xFFFFFFF0, 4, 0},
        {"a fixed part that is cut", 0, 20, 4, 1},
        {"an attribute of length 0", 28, 0, 2, 2},
        {"an attribute shorter than its header", 28, 3, 2, 2},
        {"an attribute longer than the message", 28, 0xFFFF, 2, 2},
        {"a word of one byte", 28, 5, 2, 2}};
    for (const auto& [name, position, length, bytes, count] : cases) {
        std::vector<char> bad = two;
        std::memcpy(bad.data() + position, &length, std::min<std::size_t>(bytes, 4));
        if (bytes == 0 || bytes == 8) bad.resize(bytes);
        EXPECT_EQ(ParseAll(bad), count) << name;
    }
}

TEST(NetlinkMessages, AnyBytesAreParsedToAnEnd) {
    std::mt19937 random(1);
    const std::vector<char> good = NeighbourMessage();
    for (int round = 0; round < 20000; ++round) {
        std::vector<char> bytes = good;
        for (unsigned changes = random() % 8; changes-- > 0;)
            bytes[random() % bytes.size()] = static_cast<char>(random());
        bytes.resize(random() % (bytes.size() + 1));
        ParseAll(bytes);
    }
}

TEST(NetlinkSocket, TakesWhatTheKernelSendsAndNoOther) {
    const auto socket = NetlinkSocket::Open();
    ASSERT_NE(socket, nullptr);
    mnl_socket* stranger = mnl_socket_open(NETLINK_ROUTE);
    ASSERT_EQ(mnl_socket_bind(stranger, 0, MNL_SOCKET_AUTOPID), 0);
    sockaddr_nl to{};
    to.nl_family = AF_NETLINK;
    to.nl_pid = socket->Port();
    const std::vector<char> forged = NeighbourMessage();
    if (sendto(mnl_socket_get_fd(stranger), forged.data(), forged.size(), 0,
               reinterpret_cast<const sockaddr*>(&to), sizeof to) < 0)
        GTEST_SKIP() << "the kernel lets this process send nothing to the socket";
    LinkFacts link;
    EXPECT_EQ(ReadLink(*socket, 1, link), 0);
    EXPECT_NE(link.flags, 0u) << "what came first was not the reply";
    mnl_socket_close(stranger);
}

}  // namespace
