#include <gmock/gmock.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <thread>

#include "platform/network_namespace.h"
#include "platform/windows_api.h"

namespace {

using testing::ElementsAre;

constexpr DWORD kPromised = 2000;  // milliseconds within which a change is reported
constexpr DWORD kQuiet = 200;

// A machine of its own with one link, link0, and no address but loopback's.
class IpHelperTest : public testing::Test {
  protected:
    void SetUp() override {
        machine_ = NetworkNamespace::Create();
        if (!machine_)
            GTEST_SKIP() << "making a network namespace takes privileges that this process doesn't have";
        stay_.emplace(*machine_);
        Shell("ip link add link0 type veth peer name link1 && ip link set link0 up && ip link set link1 up");
    }

    static std::string Dotted(DWORD address) { return inet_ntoa(in_addr{.s_addr = address}); }

    // The addresses as "address/mask".
    static std::vector<std::string> Addresses(BOOL sorted) {
        ULONG size = 0;
        EXPECT_EQ(GetIpAddrTable(nullptr, &size, sorted), ERROR_INSUFFICIENT_BUFFER);
        std::vector<std::uint32_t> storage(size / sizeof(std::uint32_t) + 1);
        auto* table = reinterpret_cast<MIB_IPADDRTABLE*>(storage.data());
        EXPECT_EQ(GetIpAddrTable(table, &size, sorted), NO_ERROR);
        std::vector<std::string> addresses;
        for (DWORD i = 0; i < table->dwNumEntries; ++i)
            addresses.push_back(Dotted(table->table[i].dwAddr) + "/" + Dotted(table->table[i].dwMask));
        return addresses;
    }

    std::optional<NetworkNamespace> machine_;
    std::optional<NetworkNamespace::Visit> stay_;
};

TEST_F(IpHelperTest, TableHasARowPerAddressInTheOrderOfTheSystem) {
    for (const std::string address : {"10.9.0.1/16", "10.2.0.1/24", "10.2.0.200/24", "fd00::1/64"})
        Shell("ip addr add " + address + " dev link0");
    EXPECT_THAT(Addresses(FALSE), ElementsAre("127.0.0.1/255.0.0.0", "10.9.0.1/255.255.0.0",
                                              "10.2.0.1/255.255.255.0", "10.2.0.200/255.255.255.0"));
    EXPECT_THAT(Addresses(TRUE), ElementsAre("10.2.0.1/255.255.255.0", "10.2.0.200/255.255.255.0",
                                             "10.9.0.1/255.255.0.0", "127.0.0.1/255.0.0.0"));
}

TEST_F(IpHelperTest, TableThatDoesNotFitReportsTheSizeAndWritesNothing) {
    std::vector<unsigned char> buffer(offsetof(MIB_IPADDRTABLE, table) + sizeof(MIB_IPADDRROW), 0xEE);
    auto* const table = reinterpret_cast<MIB_IPADDRTABLE*>(buffer.data());
    ULONG size = static_cast<ULONG>(buffer.size() - 1);
    EXPECT_EQ(GetIpAddrTable(table, &size, FALSE), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(size, buffer.size());
    EXPECT_THAT(buffer, testing::Each(0xEE));
    EXPECT_EQ(GetIpAddrTable(table, &size, FALSE), NO_ERROR);
}

TEST_F(IpHelperTest, TableOfHundredsOfAddressesIsWhole) {
    std::string commands;
    for (int i = 0; i < 600; ++i)
        commands += "addr add 10.77." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1) +
                    "/32 dev link0\n";
    Shell("printf '" + commands + "' | ip -batch -");
    EXPECT_EQ(Addresses(FALSE).size(), 601u);
}

// All in one case, because the process follows the changes of one machine: that of the first arming.
TEST_F(IpHelperTest, ChangesAreToldOncePerArming) {
    const auto arm = [](HANDLE event) {
        HANDLE handle = INVALID_HANDLE_VALUE;
        OVERLAPPED overlapped{};
        overlapped.hEvent = event;
        return NotifyAddrChange(&handle, &overlapped);
    };
    const auto isTold = [](HANDLE event, DWORD milliseconds) {
        return WaitForSingleObject(event, milliseconds) == WAIT_OBJECT_0;
    };
    const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    EXPECT_EQ(arm(nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(arm(mutex), ERROR_INVALID_HANDLE);

    // One that came and one that went, each told once.
    for (const char* change : {"add", "del"}) {
        ASSERT_EQ(arm(event), ERROR_IO_PENDING);
        EXPECT_FALSE(isTold(event, kQuiet));
        Shell("ip addr " + std::string(change) + " 10.2.0.1/24 dev link0");
        EXPECT_TRUE(isTold(event, kPromised)) << change;
        EXPECT_FALSE(isTold(event, kQuiet)) << change;
        Addresses(FALSE);
    }

    // What happens while nothing is armed, after the table was read, is reported by the next arming.
    Shell("ip addr add 10.2.0.2/24 dev link0");
    std::this_thread::sleep_for(std::chrono::milliseconds(kQuiet));
    ASSERT_EQ(arm(event), ERROR_IO_PENDING);
    EXPECT_TRUE(isTold(event, 0));
    // What the last reading of the table has seen is not told again.
    Shell("ip addr add 10.2.0.3/24 dev link0");
    std::this_thread::sleep_for(std::chrono::milliseconds(kQuiet));
    EXPECT_EQ(Addresses(FALSE).size(), 3u);
    ASSERT_EQ(arm(event), ERROR_IO_PENDING);
    EXPECT_FALSE(isTold(event, kQuiet));

    // A lease that is renewed, an address of IPv6 and a link that goes down change nothing in the table.
    Shell("ip addr change 10.2.0.2/24 dev link0 valid_lft 900 preferred_lft 900");
    Shell("ip addr add fd00::2/64 dev link0");
    Shell("ip link set link0 down");
    EXPECT_FALSE(isTold(event, kQuiet));
    // Coming and going at once is a change all the same.
    Shell("ip addr add 10.3.0.1/24 dev link0 && ip addr del 10.3.0.1/24 dev link0");
    EXPECT_TRUE(isTold(event, kPromised));

    // An event that is closed before its notice harms no one, and all that are armed are reported.
    const HANDLE closed = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    const HANDLE second = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    Addresses(FALSE);
    for (const HANDLE armed : {closed, event, second})
        ASSERT_EQ(arm(armed), ERROR_IO_PENDING);
    ASSERT_TRUE(CloseHandle(closed));
    Shell("ip link del link0");
    EXPECT_TRUE(isTold(event, kPromised));
    EXPECT_TRUE(isTold(second, kPromised));
    for (const HANDLE left : {event, second, mutex})
        CloseHandle(left);
}

}  // namespace
