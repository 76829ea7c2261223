// The helper as the service sees it: a library with two exports, at work on a real neighbour table.
#include "arp/arp_helper.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <linux/if_ether.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>

#include "platform/network_namespace.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int kCreated = ArpAddCreated;
constexpr int kReachable = 1;
constexpr char kLocal[] = "10.1.0.1";
constexpr char kClient[] = "10.1.0.50";
constexpr char kMac[] = "02-00-00-00-00-50";
constexpr char kMacAsShown[] = "02:00:00:00:00:50";
constexpr char kOtherMac[] = "02-00-00-00-00-60";
constexpr char kOtherMacAsShown[] = "02:00:00:00:00:60";

// All tests share one namespace, because the helper belongs to that of its first call.
//
// A server with 10.1.0.1/24 and 10.1.0.2/24 on link0, whose other end, link1, is in the same namespace and
// silent.
class ArpHelperTest : public testing::Test {
  protected:
    void SetUp() override {
        static const auto machine = NetworkNamespace::Create();
        if (!machine)
            GTEST_SKIP() << "making a network namespace takes privileges that this process doesn't have";
        stay_.emplace(*machine);
        Shell("ip link add link0 type veth peer name link1 && ip link set link1 arp off up");
        Shell("ip addr add 10.1.0.1/24 dev link0 && ip addr add 10.1.0.2/24 dev link0");
        Shell("ip link add idle0 type veth peer name idle1 && ip addr add 10.5.0.1/24 dev idle0");
        Shell("ip link set link0 up && ip link set idle0 up");
        void* helper = dlopen(QUILLON_ARP_HELPER, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(helper, nullptr) << dlerror();
        add_ = reinterpret_cast<ArpAddFunction>(dlsym(helper, "ArpAdd"));
        remove_ = reinterpret_cast<ArpRemoveFunction>(dlsym(helper, "ArpRemove"));
        ASSERT_NE(add_, nullptr);
        ASSERT_NE(remove_, nullptr);
    }

    void TearDown() override {
        if (stay_) Shell("ip link del link0 && ip link del idle0");
    }

    int Add(const std::string& client, const std::string& mac, const std::string& local = kLocal) const {
        constexpr unsigned char kChaddr[16] = {2, 0, 0, 0, 0, 0x77};
        return add_(local.c_str(), client.c_str(), mac.c_str(), kChaddr, 6, "inetmib1.dll");
    }
    int Remove(const std::string& client, const std::string& local = kLocal) const {
        return remove_(client.c_str(), local.c_str());
    }

    static std::string Entry(const std::string& client = kClient) {
        return Shell("ip neigh show " + client + " nud all");
    }

    std::optional<NetworkNamespace::Visit> stay_;
    ArpAddFunction add_ = nullptr;
    ArpRemoveFunction remove_ = nullptr;
};

TEST_F(ArpHelperTest, DirectedReplyLeavesAtOnceForTheHardwareAddress) {
    FrameWatch wire("link1");
    PlainSocket server(kLocal, 67);
    ASSERT_EQ(Add(kClient, kMac), kCreated);
    EXPECT_THAT(Entry(), HasSubstr(std::string("lladdr ") + kMacAsShown + " extern_learn PERMANENT"));
    ASSERT_TRUE(server.Send("reply", kClient, 68));
    std::optional<Frame> frame = wire.Next(10s);
    while (frame && frame->protocol == ETH_P_IPV6)
        frame = wire.Next(10s);  // the kernel's own
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->protocol, ETH_P_IP);
    const std::vector<std::uint8_t> destination(frame->bytes.begin(), frame->bytes.begin() + 6);
    EXPECT_THAT(destination, testing::ElementsAre(2, 0, 0, 0, 0, 0x50));
    Remove(kClient);
    EXPECT_THAT(Entry(), IsEmpty());
}

TEST_F(ArpHelperTest, EntryStaysUntilItsLastRemovalWhoeverTookItOver) {
    EXPECT_EQ(Add(kClient, kMac), kCreated);
    EXPECT_EQ(Add(kClient, kMac), kCreated);
    EXPECT_EQ(Add(kClient, kOtherMac, "10.1.0.2"), kCreated);
    Remove(kClient, "10.5.0.1");
    Remove(kClient);
    Remove(kClient, "10.1.0.2");
    EXPECT_THAT(Entry(), HasSubstr(kOtherMacAsShown));
    Remove(kClient);
    EXPECT_THAT(Entry(), IsEmpty());
    Remove(kClient);
}

TEST_F(ArpHelperTest, AnswersByWhatStandsThere) {
    const std::string entry = std::string("ip neigh replace ") + kClient + " dev link0 ";
    const std::string right = entry + "lladdr " + kMacAsShown;
    const std::string wrong = entry + "lladdr " + kOtherMacAsShown;
    const struct {
        std::string before;
        int answer;
        const char* during;  // what the entry then has
        bool staysAfterRemoval;
    } cases[] = {{right + " nud permanent", kReachable, kMacAsShown, true},
                 {wrong + " nud permanent", ArpAddFailed, kOtherMacAsShown, true},
                 {right + " nud noarp", kReachable, kMacAsShown, true},
                 {right + " nud stale", kReachable, kMacAsShown, true},
                 {wrong + " nud stale", kCreated, kMacAsShown, false},
                 {entry + "nud failed", kCreated, kMacAsShown, false},
                 // As the helper makes them; then as an administrator's replacement leaves the mark in place.
                 {wrong + " nud permanent protocol 81 extern_learn", kCreated, kMacAsShown, false},
                 {right + " nud permanent protocol 81 extern_learn", kCreated, kMacAsShown, false},
                 {wrong + " nud permanent protocol 81", ArpAddFailed, kOtherMacAsShown, true},
                 {right + " nud permanent protocol 81", kReachable, kMacAsShown, true}};
    for (const auto& row : cases) {
        Shell(row.before);
        EXPECT_EQ(Add(kClient, kMac), row.answer) << row.before;
        EXPECT_THAT(Entry(), HasSubstr(row.during)) << row.before;
        Remove(kClient);
        EXPECT_EQ(Entry().find("lladdr") != std::string::npos, row.staysAfterRemoval) << row.before;
        Shell("ip neigh flush dev link0 nud all; ip neigh del " + std::string(kClient) +
              " dev link0 2>/dev/null; true");
    }
}

TEST_F(ArpHelperTest, EntryThatWasTakenFromItIsNoLongerItsOwn) {
    const std::pair<const char*, int> replacements[] = {{kOtherMacAsShown, ArpAddFailed},
                                                        {kMacAsShown, kReachable}};
    for (const auto& [mac, answer] : replacements) {
        ASSERT_EQ(Add(kClient, kMac), kCreated);
        Shell("ip neigh replace " + std::string(kClient) + " dev link0 nud permanent lladdr " + mac);
        EXPECT_EQ(Add(kClient, kMac), answer);
        Remove(kClient);
        EXPECT_THAT(Entry(), HasSubstr(mac));
        Shell("ip neigh del " + std::string(kClient) + " dev link0");
    }
    // And one that went with its interface is made anew.
    ASSERT_EQ(Add("10.1.0.51", kMac), kCreated);
    Shell("ip link set link0 down && ip link set link0 up");
    EXPECT_THAT(Entry("10.1.0.51"), IsEmpty());
    EXPECT_EQ(Add("10.1.0.51", kMac), kCreated);
    EXPECT_THAT(Entry("10.1.0.51"), HasSubstr(kMacAsShown));
    Remove("10.1.0.51");
    Remove("10.1.0.51");
    EXPECT_THAT(Entry("10.1.0.51"), IsEmpty());
}

TEST_F(ArpHelperTest, RefusesWhatCannotHelp) {
    struct Case {
        const char *client = kClient, *mac = kMac, *local = kLocal;
    };
    const Case cases[] = {{.mac = "02-00-00-00-00"},        // shorter than the interface's
                          {.mac = "02-00-00-00-00-50-60"},  // longer
                          {.mac = "nonsense"},
                          {.mac = ""},
                          {.local = "10.1.0.3"},  // no one's address
                          {.local = "10.5.0.1"},  // leaves by another interface
                          {.local = "x"},
                          {.client = "10.9.0.1"},    // no way there
                          {.client = "10.1.0.2"},    // our own
                          {.client = "10.1.0.255"},  // a broadcast
                          {.client = "255.255.255.255"},
                          {.client = "0.0.0.0"},
                          {.client = "224.0.0.1"},
                          {.client = "10.1.0"},
                          {.client = ""}};
    for (const Case& row : cases)
        EXPECT_EQ(Add(row.client, row.mac, row.local), ArpAddFailed)
            << row.client << " " << row.mac << " " << row.local;
    EXPECT_EQ(Add("127.0.0.9", kMac, "127.0.0.1"), kReachable) << "loopback resolves nothing";
    EXPECT_THAT(Shell("ip neigh show nud permanent"), IsEmpty());
    // Behind a gateway an entry for the client itself has no effect.
    Shell("ip route add 10.9.0.0/24 via 10.1.0.7");
    EXPECT_EQ(Add("10.9.0.1", kMac), ArpAddFailed);

    const unsigned char chaddr[16] = {};
    EXPECT_EQ(add_(nullptr, kClient, kMac, chaddr, 6, ""), ArpAddFailed);
    EXPECT_EQ(add_(kLocal, nullptr, kMac, chaddr, 6, ""), ArpAddFailed);
    EXPECT_EQ(add_(kLocal, kClient, nullptr, chaddr, 6, ""), ArpAddFailed);
    EXPECT_EQ(add_(kLocal, kClient, kMac, nullptr, 6, ""), ArpAddFailed);
    EXPECT_EQ(remove_(nullptr, kLocal), 0);
    EXPECT_EQ(remove_(kClient, nullptr), 0);
}

TEST_F(ArpHelperTest, ServesManyThreadsAtOnce) {
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([this, own = "10.1.0." + std::to_string(100 + t)] {
            for (int i = 0; i < 50; ++i) {
                EXPECT_EQ(Add(own, kMac), kCreated);
                EXPECT_EQ(Add(kClient, kMac), kCreated);
                Remove(own);
                Remove(kClient);
            }
        });
    threads.clear();
    EXPECT_THAT(Shell("ip neigh show nud permanent"), IsEmpty());
}

}  // namespace
