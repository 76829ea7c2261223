// What only a network shows: which of several addresses hears a datagram, and by which interface one leaves.
#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <initializer_list>
#include <optional>
#include <thread>

#include "platform/linux/net/bound_descriptors.h"
#include "platform/network_namespace.h"
#include "platform/winsock_fixture.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using testing::UnorderedElementsAre;

constexpr unsigned kPort = 67;
constexpr unsigned kClientPort = 68;

// A server with two interfaces, each with a host of its own behind it. There is no default route anywhere.
//   east0: 10.1.0.1/24, 10.1.0.2/24 and 10.2.0.1/24, the host has 10.1.0.9 and 10.2.0.9
//   west0: 10.3.0.1/24, the host has 10.3.0.9
class SocketNetworkTest : public WinsockTest {
  protected:
    void SetUp() override {
        server_ = NetworkNamespace::Create();
        if (!server_)
            GTEST_SKIP() << "making a network namespace takes privileges that this process doesn't have";
        east_ = NetworkNamespace::Create();
        west_ = NetworkNamespace::Create();
        ASSERT_TRUE(east_ && west_);
        stay_.emplace(*server_);
        Shell("ip link add east0 type veth peer name east1 && ip link set east1 netns " + east_->Path());
        Shell("ip link add west0 type veth peer name west1 && ip link set west1 netns " + west_->Path());
        Address("east0", {"10.1.0.1", "10.1.0.2", "10.2.0.1"});
        Address("west0", {"10.3.0.1"});
        {
            const NetworkNamespace::Visit visit(*east_);
            Address("east1", {"10.1.0.9", "10.2.0.9"});
        }
        {
            const NetworkNamespace::Visit visit(*west_);
            Address("west1", {"10.3.0.9"});
        }
        WinsockTest::SetUp();
    }
    void TearDown() override {
        if (!server_) return;
        WinsockTest::TearDown();
        stay_.reset();
    }

    static void Address(const std::string& link, std::initializer_list<const char*> addresses) {
        for (const std::string address : addresses)
            Shell("ip addr add " + address + "/24 dev " + link);
        Shell("ip link set " + link + " up");
    }

    std::unique_ptr<PlainSocket> Host(const NetworkNamespace& host, const std::string& address, unsigned port,
                                      const std::string& interfaceName = "") {
        const NetworkNamespace::Visit visit(host);
        return std::make_unique<PlainSocket>(address, static_cast<std::uint16_t>(port), interfaceName);
    }

    std::optional<NetworkNamespace> server_, east_, west_;
    std::optional<NetworkNamespace::Visit> stay_;
};

TEST_F(SocketNetworkTest, EachAddressHearsWhatItsInterfaceHearsOnce) {
    const char* const own[] = {"10.1.0.1", "10.1.0.2", "10.2.0.1", "10.3.0.1"};
    SOCKET bound[4];
    for (int i = 0; i < 4; ++i)
        bound[i] = OpenBound(own[i], kPort);
    // A client that has no address yet, and one that has.
    const auto eastClient = Host(*east_, "", kClientPort, "east1");
    const auto westClient = Host(*west_, "10.3.0.9", kClientPort);

    const struct {
        PlainSocket& from;
        const char* to;
        std::array<std::size_t, 4> hear;  // how often each address does
    } cases[] = {
        {*eastClient, "255.255.255.255", {1, 1, 1, 0}}, {*westClient, "255.255.255.255", {0, 0, 0, 1}},
        {*eastClient, "10.1.0.255", {1, 1, 0, 0}},      {*eastClient, "10.2.0.255", {0, 0, 1, 0}},
        {*westClient, "10.3.0.255", {0, 0, 0, 1}},      {*eastClient, "10.1.0.1", {1, 0, 0, 0}},
        {*eastClient, "10.1.0.2", {0, 1, 0, 0}},        {*westClient, "10.3.0.1", {0, 0, 0, 1}},
    };
    for (const auto& row : cases) {
        ASSERT_TRUE(row.from.Send("x", row.to, kPort)) << row.to;
        for (std::size_t i = 0; i < 4; ++i)
            EXPECT_EQ(DrainAll(bound[i], row.hear[i]).size(), row.hear[i]) << own[i] << " hears " << row.to;
    }
}

TEST_F(SocketNetworkTest, HearsARequestWithoutASender) {
    const SOCKET bound = OpenBound("10.1.0.1", kPort);
    {
        const NetworkNamespace::Visit visit(*east_);
        Shell("ip addr flush dev east1 && ip route add default dev east1");
        PlainSocket client("", kClientPort, "east1");
        ASSERT_TRUE(client.Send("boot", "255.255.255.255", kPort));
    }
    ASSERT_THAT(*SelectFrom({bound}, 10s), ElementsAre(bound));
    const Received request = ReceiveInto(bound, 100);
    EXPECT_EQ(request.data, "boot");
    EXPECT_EQ(request.from.sin_addr.s_addr, 0u);
    EXPECT_EQ(request.from.sin_port, htons(kClientPort));
}

TEST_F(SocketNetworkTest, SendsFromItsAddressByItsInterface) {
    const SOCKET second = OpenBound("10.2.0.1", kPort);
    const SOCKET west = OpenBound("10.3.0.1", kPort);
    const auto eastClient = Host(*east_, "", kClientPort);
    const auto westClient = Host(*west_, "", kClientPort);

    const std::tuple<SOCKET, const char*, std::optional<std::string>, std::optional<std::string>> cases[] = {
        {second, "255.255.255.255", "10.2.0.1:67", std::nullopt},
        {west, "255.255.255.255", std::nullopt, "10.3.0.1:67"},
        {second, "10.2.0.255", "10.2.0.1:67", std::nullopt},
        {second, "10.1.0.9", "10.2.0.1:67", std::nullopt},
        {west, "10.3.0.9", std::nullopt, "10.3.0.1:67"}};
    const auto sender = [](const std::optional<Datagram>& datagram) {
        return datagram ? std::optional(datagram->from) : std::nullopt;
    };
    for (const auto& [by, to, eastHears, westHears] : cases) {
        ASSERT_EQ(Send(by, "x", to, kClientPort), 0) << to;
        EXPECT_EQ(sender(eastClient->Receive(eastHears ? 10s : 50ms)), eastHears) << to;
        EXPECT_EQ(sender(westClient->Receive(westHears ? 10s : 50ms)), westHears) << to;
    }
    EXPECT_EQ(Send(west, "x", "192.0.2.1", kClientPort), WSAENETUNREACH);
}

TEST_F(SocketNetworkTest, HearsBroadcastsWithoutPrivileges) {
    constexpr unsigned kUnprivilegedPort = 2067;
    constexpr uid_t kNobody = 65534;
    int lowPort = 0;
    SOCKET bound = INVALID_SOCKET;
    // The system call itself, unlike the C library's function, changes the calling thread only.
    std::thread unprivileged([&] {
        ASSERT_EQ(syscall(SYS_setresuid, kNobody, kNobody, kNobody), 0);
        const SOCKET low = OpenPlain();
        lowPort = BindTo(low, "10.1.0.1", kPort);
        bound = OpenBound("10.1.0.1", kUnprivilegedPort);
    });
    unprivileged.join();
    EXPECT_EQ(lowPort, WSAEACCES);
    const auto eastClient = Host(*east_, "10.1.0.9", kClientPort);
    const auto westClient = Host(*west_, "10.3.0.9", kClientPort);
    ASSERT_TRUE(westClient->Send("west", "255.255.255.255", kUnprivilegedPort));
    for (const char* to : {"255.255.255.255", "10.1.0.255", "10.1.0.1"})
        ASSERT_TRUE(eastClient->Send(to, to, kUnprivilegedPort));
    EXPECT_THAT(DrainAll(bound, 3), UnorderedElementsAre("255.255.255.255", "10.1.0.255", "10.1.0.1"));
}

TEST_F(SocketNetworkTest, WildcardHearsAllOnce) {
    const SOCKET any = OpenBound("0.0.0.0", kPort);
    const auto client = Host(*east_, "10.1.0.9", kClientPort);
    for (const char* to : {"255.255.255.255", "10.1.0.255", "10.2.0.1"})
        ASSERT_TRUE(client->Send(to, to, kPort));
    EXPECT_THAT(DrainAll(any, 3), ElementsAre("255.255.255.255", "10.1.0.255", "10.2.0.1"));
}

TEST_F(SocketNetworkTest, WaitsSeeASocketThatIsBoundMeanwhile) {
    const SOCKET late = OpenPlain();
    std::optional<std::vector<SOCKET>> ready;
    std::thread waiting([&] { ready = SelectFrom({late}, 10s); });
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(BindTo(late, "10.1.0.1", kPort), 0);
    EXPECT_TRUE(Host(*east_, "10.1.0.9", kClientPort)->Send("x", "255.255.255.255", kPort));
    waiting.join();
    EXPECT_THAT(ready, Optional(ElementsAre(late)));
}

// The listener must not go deaf to new clients while one that has an address sends without end, nor the other
// way round.
TEST_F(SocketNetworkTest, NoKindOfDatagramKeepsTheOthersWaiting) {
    const SOCKET bound = OpenBound("10.1.0.1", kPort);
    const SOCKET beside = OpenBound("10.1.0.2", kPort);
    const auto client = Host(*east_, "10.1.0.9", kClientPort);
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(client->Send("10.1.0.1", "10.1.0.1", kPort));
    for (const char* to : {"255.255.255.255", "10.1.0.255"})
        ASSERT_TRUE(client->Send(to, to, kPort));
    // The broadcasts left last, so when they are there all is there.
    ASSERT_EQ(DrainAll(beside, 2).size(), 2u);
    std::vector<std::string> firstThree;
    for (int i = 0; i < 3; ++i) {
        ASSERT_THAT(*SelectFrom({bound}, 10s), ElementsAre(bound));
        firstThree.push_back(ReceiveInto(bound, 100).data);
    }
    EXPECT_THAT(firstThree, ElementsAre("10.1.0.1", "255.255.255.255", "10.1.0.255"));
    EXPECT_EQ(DrainAll(bound, 19).size(), 19u);
}

TEST_F(SocketNetworkTest, HearsBroadcastsOfAnInterfaceThatWasDownWhenItWasBound) {
    Shell("ip link set west0 down");
    const SOCKET bound = OpenBound("10.3.0.1", kPort);
    Shell("ip link set west0 up");
    const auto client = Host(*west_, "10.3.0.9", kClientPort);
    // For a moment after it has come up the kernel drops what the interface is to send.
    for (int tries = 0; tries < 100; ++tries) {
        ASSERT_TRUE(client->Send("settled?", "255.255.255.255", kPort));
        if (!SelectFrom({bound}, 100ms)->empty()) break;
    }
    DrainAll(bound);
    for (const char* to : {"255.255.255.255", "10.3.0.255"})
        ASSERT_TRUE(client->Send(to, to, kPort));
    EXPECT_THAT(DrainAll(bound, 2), UnorderedElementsAre("255.255.255.255", "10.3.0.255"));
}

// Datagrams to neighbours that don't answer wait in the kernel, until no more fit. Who sends then must not
// wait as long as those do.
TEST_F(SocketNetworkTest, AnInterfaceWithoutRoomRefusesAndHoldsUpNoOther) {
    constexpr int kMoreThanFit = 4000;
    const SOCKET east = OpenBound("10.1.0.1", kPort);
    const SOCKET west = OpenBound("10.3.0.1", kPort);
    const auto westClient = Host(*west_, "10.3.0.9", kClientPort);
    const std::string reply(300, 'x');
    int refused = 0;
    for (int i = 0; i < kMoreThanFit; ++i) {
        const int error = Send(east, reply, "10.1.0." + std::to_string(100 + i % 100), kClientPort);
        ASSERT_TRUE(error == 0 || error == WSAENOBUFS) << error;
        refused += error != 0 ? 1 : 0;
    }
    // Had each one waited, the neighbours would have been given up meanwhile, and made room again and again.
    EXPECT_GT(refused, kMoreThanFit * 3 / 4);
    ASSERT_EQ(Send(west, reply, "10.3.0.9", kClientPort), 0);
    EXPECT_TRUE(westClient->Receive(10s));
    // What waited is dropped with the interface's neighbours, and then there is room at once.
    Shell("ip link set east0 down && ip link set east0 up");
    EXPECT_EQ(Send(east, reply, "10.1.0.9", kClientPort), 0);
}

// What comes back from a client that doesn't listen any more is nothing that was received.
TEST_F(SocketNetworkTest, AnUnreachablePortCostsNothing) {
    constexpr std::uint16_t kIcmp = 1;
    const SOCKET bound = OpenBound("10.1.0.1", kPort);
    FrameWatch wire("east0");
    ASSERT_EQ(Send(bound, "reply", "10.1.0.9", kClientPort), 0);
    for (std::optional<Frame> frame; !frame || frame->protocol != 0x0800 || frame->bytes[23] != kIcmp;) {
        frame = wire.Next(10s);
        ASSERT_TRUE(frame) << "no answer to a closed port";
    }
    EXPECT_THAT(SelectFrom({bound}, 0s), Optional(IsEmpty()));
    EXPECT_EQ(Send(bound, "next reply", "10.1.0.9", kClientPort), 0);
    ASSERT_TRUE(Host(*east_, "10.1.0.9", kClientPort)->Send("request", "10.1.0.1", kPort));
    EXPECT_THAT(DrainAll(bound, 1), ElementsAre("request"));
}

TEST_F(SocketNetworkTest, BothWaysToLimitADescriptorPassItsInterfaceOnly) {
    const unsigned west = static_cast<unsigned>(std::stoul(Shell("ip -o link show west0")));
    for (const InterfaceLimit limit : {InterfaceLimit::Binding, InterfaceLimit::Filter}) {
        Descriptor descriptor;
        ASSERT_EQ(OpenInterfaceDescriptor(WireAddress("255.255.255.255", kPort), west, limit, descriptor), 0);
        ASSERT_TRUE(Host(*east_, "10.1.0.9", kClientPort)->Send("east", "255.255.255.255", kPort));
        ASSERT_TRUE(Host(*west_, "10.3.0.9", kClientPort)->Send("west", "255.255.255.255", kPort));
        std::string heard(10, '\0');
        const auto length = (::recvfrom)(descriptor.Get(), heard.data(), heard.size(), 0, nullptr, nullptr);
        EXPECT_EQ(heard.substr(0, static_cast<std::size_t>(length)), "west");
        EXPECT_EQ((::recvfrom)(descriptor.Get(), heard.data(), heard.size(), MSG_DONTWAIT, nullptr, nullptr),
                  -1);
    }
}

}  // namespace
