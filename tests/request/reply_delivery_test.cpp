#include "request/reply_delivery.h"
#include "diagnostics/event_report.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstring>
#include <optional>

#include "arp/arp_expiry.h"
#include "platform/network_namespace.h"
#include "platform/successor.h"
#include "request/interfaces.h"
#include "service/server_parameters.h"
#include "service/temporary_home.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(Route, FollowsTheFirstRowThatApplies) {
    const std::tuple<bool, bool, std::uint8_t, Route> cases[] = {
        // relayed, broadcast, flags
        {true, true, AlwaysBroadcast, Route::Relay}, {true, false, 0, Route::Relay},
        {false, true, 0, Route::Broadcast},          {false, false, AlwaysBroadcast, Route::Broadcast},
        {false, false, 0, Route::Directed},          {false, false, FileAlias | ArpMac, Route::Directed}};
    for (const auto& [relayed, broadcast, flags, route] : cases)
        EXPECT_EQ(ChooseRoute(relayed, broadcast, flags), route);
}

TEST(Route, NoBroadcastBeatsAllButForceBroadcast) {
    constexpr std::uint8_t Both = NoBroadcast | AlwaysBroadcast;
    const std::tuple<bool, std::uint8_t, std::uint8_t, bool> cases[] = {
        // force, flags; flags, broadcast
        {false, Both, NoBroadcast, false},
        {false, AlwaysBroadcast, AlwaysBroadcast, true},
        {false, 0, 0, true},
        {true, Both, Both, true}};
    for (const auto& [force, given, flagsAfter, broadcastAfter] : cases) {
        std::uint8_t flags = given;
        bool broadcast = true;
        CancelBroadcast(force, &flags, &broadcast);
        EXPECT_EQ(flags, flagsAfter);
        EXPECT_EQ(broadcast, broadcastAfter);
    }
}

TEST(ReplyStatus, HasOneTextForEachOutcome) {
    const std::pair<DeliveryOutcome, std::string> cases[] = {
        // broadcast, arpTried, firstSent, secondSent
        {{false, false, true, false}, "DD;succeeded   *Status: Reply successfully sent"},
        {{false, true, true, false}, "DD;succeeded   *Status: Reply successfully sent"},
        {{true, false, true, false}, "Broadcast;succeeded   *Status: Reply successfully sent"},
        {{true, true, true, false},
         "DD;arp entry failed, broadcast used instead   *Status: Reply successfully sent"},
        {{true, false, false, false}, "Broadcast;failed   *Tried: Nothing else   *Status: No reply sent"},
        {{true, true, false, false}, "Broadcast;failed   *Tried: Nothing else   *Status: No reply sent"},
        {{false, true, false, true},
         "DD;failed   *Tried: Broadcast;succeeded   *Status: Broadcast reply sent instead"},
        {{false, true, false, false}, "DD;failed   *Tried: Broadcast;failed   *Status: No reply sent"},
    };
    for (const auto& [outcome, text] : cases)
        EXPECT_EQ(ReplyStatusText(outcome), "*Default: " + text);
}

// What the fake helper heard, and what it is to answer.
int HelperAnswer;
std::vector<std::string> HelperArguments;

int FakeArpAdd(const char* local, const char* client, const char* media, const unsigned char*, int length,
               const char* agent) {
    HelperArguments = {local, client, media, std::to_string(length), agent};
    return HelperAnswer;
}

// Replies from a socket on the loopback interface to a listener there.
class DeliveryOnLoopback : public testing::Test {
  protected:
    void SetUp() override {
        WSADATA data;
        ASSERT_EQ(WSAStartup(MAKEWORD(1, 1), &data), 0);
        ASSERT_EQ(OpenBoundSocket(&server, 0, Loopback, 0), 0);
        context.from.sin_family = AF_INET;
        context.from.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        context.from.sin_port = htons(client.Port());
        context.socket = server;
        context.length = 300;
        context.packet = reinterpret_cast<BootPacket*>(block);
        context.packet->yiaddr = Loopback;
        context.packet->hlen = 6;
        std::memcpy(context.packet->chaddr, "\x00\xa0\x24\x12\x34\x56", 6);
        parameters.UseClientSrcPort = 1;
        parameters.LogLevel = 31;
        std::strcpy(parameters.SnmpAgentPath, "agent");
        parameters.ArpAdd = FakeArpAdd;
        InstallEventMask(31);
        HelperArguments.clear();
    }
    void TearDown() override { WSACleanup(); }
    std::string Deliver(bool broadcast, bool relayed, const char* arpMac = "") {
        const Delivery delivery = {&context, &parameters, Loopback, broadcast, relayed, arpMac};
        const DeliveryOutcome outcome = DeliverReply(delivery);
        route = outcome.route;
        return ReplyStatusText(outcome);
    }
    // The first byte of a datagram that arrived, or -1.
    int ReceivedOpcode() {
        const auto datagram = client.Receive(std::chrono::milliseconds(0));
        return datagram && datagram->data.size() == 300 ? datagram->data[0] : -1;
    }

    static constexpr IpAddress Loopback = {{127, 0, 0, 1}};
    TemporaryHome home;
    SOCKET server = 0;
    PlainSocket client{"127.0.0.1"};
    ReplyRoute route = {};  // of the last delivery
    std::uint8_t block[600] = {};
    RequestContext context = {};
    ServerParameters parameters = {};
};

TEST_F(DeliveryOnLoopback, ADirectedReplyPrimesArpAndGoesOutAsAReply) {
    HelperAnswer = 1;
    context.packet->op = FileAlias;
    EXPECT_EQ(Deliver(false, false), "*Default: DD;succeeded   *Status: Reply successfully sent");
    EXPECT_THAT(HelperArguments, ElementsAre("127.0.0.1", "127.0.0.1", "00-a0-24-12-34-56", "6", "agent"));
    EXPECT_EQ(ReceivedOpcode(), BootReplyOpcode);
    EXPECT_EQ(route, ReplyRoute::Directed);
    Deliver(false, false, "00-11-22-33-44-55");
    EXPECT_EQ(HelperArguments[2], "00-11-22-33-44-55");
}

TEST_F(DeliveryOnLoopback, TheRoleIsPassedOnBeforeTheHelperIsCalled) {
    const HANDLE role = CreateMutexA(nullptr, FALSE, nullptr);
    TakeLazyTurn(role);
    WaitForSingleObject(role, INFINITE);
    static Successor* waiting;
    static bool passed;
    Successor successor(role);
    waiting = &successor;
    parameters.ArpAdd = [](const char*, const char*, const char*, const unsigned char*, int, const char*) {
        passed = Becomes(waiting->hasIt, std::chrono::milliseconds(5000));
        return ArpAddFailed;
    };
    ReleaseMutexLazily(role, false);
    Deliver(false, false);
    EXPECT_TRUE(passed);
    CloseHandle(role);
}

TEST_F(DeliveryOnLoopback, AFailedHelperIsReportedAndTheReplyIsBroadcast) {
    HelperAnswer = ArpAddFailed;
    // The loopback interface carries no limited broadcast for this socket, which has no leave to broadcast
    // either.
    EXPECT_EQ(Deliver(false, false),
              "*Default: Broadcast;failed   *Tried: Nothing else   *Status: No reply sent");
    EXPECT_EQ(route, ReplyRoute::BroadcastNoEntry);
    EXPECT_THAT(home.EventNumbers(), ElementsAre("0xC0000022", "0xC0000019"));
    EXPECT_THAT(
        home.Read("events.log"),
        HasSubstr("Arp entry for net address 127.0.0.1 with media address 00-a0-24-12-34-56 failed."));
}

TEST_F(DeliveryOnLoopback, AFailedDirectedSendIsTriedAsABroadcast) {
    HelperAnswer = ArpAddCreated;
    context.packet->yiaddr = {{255, 255, 255, 255}};  // refused without leave to broadcast
    EXPECT_EQ(Deliver(false, false),
              "*Default: DD;failed   *Tried: Broadcast;failed   *Status: No reply sent");
    EXPECT_EQ(route, ReplyRoute::BroadcastNotSent);
    EXPECT_THAT(home.EventNumbers(), ElementsAre("0xC0000019", "0xC0000019"));
}

TEST_F(DeliveryOnLoopback, ARelayedReplyNeedsNoHelper) {
    context.packet->giaddr = Loopback;
    EXPECT_EQ(Deliver(true, true), "*Default: Broadcast;succeeded   *Status: Reply successfully sent")
        << "reported after the flag, although it went to the relay agent";
    EXPECT_EQ(route, ReplyRoute::Relay);
    EXPECT_THAT(HelperArguments, ElementsAre());
    EXPECT_EQ(ReceivedOpcode(), -1) << "port 67, not the client's";
    context.packet->op = NoBroadcast;
    EXPECT_EQ(Deliver(true, true), "*Default: DD;succeeded   *Status: Reply successfully sent")
        << "the entry's wish counts for the status here as well";
}

int RemovedEntries;

int CountRemoval(const char*, const char*) {
    ++RemovedEntries;
    return 1;
}

// A server with 10.1.0.1/24 on a cable, and no other way out.
class DeliveryOnACable : public DeliveryOnLoopback {
  protected:
    void SetUp() override {
        here = NetworkNamespace::Create();
        there = NetworkNamespace::Create();
        if (!here || !there)
            GTEST_SKIP() << "making a network namespace takes privileges that this process doesn't have";
        stay.emplace(*here);
        Shell("ip link add lan type veth peer name eth0 netns " + there->Path());
        Shell("ip addr add 10.1.0.1/24 dev lan && ip link set lan up");
        DeliveryOnLoopback::SetUp();
        const int on = 1;
        ASSERT_EQ(OpenBoundSocket(&context.socket, 0, {{10, 1, 0, 1}}, 0), 0);
        ASSERT_EQ(setsockopt(context.socket, SOL_SOCKET, SO_BROADCAST, reinterpret_cast<const char*>(&on),
                             sizeof on),
                  0);
        const NetworkNamespace::Visit visit(*there);
        Shell("ip addr add 10.1.0.9/24 dev eth0 && ip link set eth0 up");
    }
    void TearDown() override {
        if (stay) DeliveryOnLoopback::TearDown();
    }

    std::optional<NetworkNamespace> here, there;
    std::optional<NetworkNamespace::Visit> stay;
};

TEST_F(DeliveryOnACable, TheSecondSendKeepsThePortAndLeavesTheArpEntry) {
    constexpr IpAddress Present = {{10, 1, 0, 9}};
    constexpr IpAddress Unreachable = {{192, 0, 2, 1}};
    const char* const directed = "*Default: DD;succeeded   *Status: Reply successfully sent";
    const char* const instead =
        "*Default: DD;failed   *Tried: Broadcast;succeeded   *Status: Broadcast reply sent instead";
    const std::tuple<const char*, bool, DWORD, IpAddress, std::uint16_t, int, const char*> cases[] = {
        {"sent at once", false, 1, Present, 2000, 1, directed},
        {"to the client's own port", false, 1, Unreachable, 2000, 0, instead},
        {"to the port of clients", false, 0, Unreachable, 68, 0, instead},
        {"to the port of relay agents", true, 1, Unreachable, 67, 0, instead}};
    HelperAnswer = ArpAddCreated;
    context.from.sin_port = htons(2000);
    for (const auto& [name, relayed, useClientPort, address, port, removed, status] : cases) {
        std::optional<PlainSocket> receiver;
        {
            const NetworkNamespace::Visit visit(*there);
            receiver.emplace("", port);
        }
        RemovedEntries = 0;
        StartArpExpiry(0, CountRemoval);
        context.packet->yiaddr = context.packet->giaddr = address;
        parameters.UseClientSrcPort = useClientPort;
        EXPECT_EQ(Deliver(false, relayed), status) << name;
        EXPECT_TRUE(receiver->Receive(std::chrono::seconds(10))) << name;
        StopArpExpiry();
        EXPECT_EQ(RemovedEntries, removed) << name;
    }
}

}  // namespace
