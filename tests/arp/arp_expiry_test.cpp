#include "arp/arp_expiry.h"

#include <gmock/gmock.h>

#include <array>
#include <mutex>

namespace {

constexpr IpAddress kLocal = {{10, 1, 0, 1}};
constexpr DWORD kAnHour = 3600000;

struct Removal {
    std::string client, local;
    DWORD time;
};

std::mutex removalsMutex;
std::vector<Removal> removals;
HANDLE gate;  // at which the helper hangs, if there is one

int RecordRemoval(const char* client, const char* local) {
    if (gate != nullptr) WaitForSingleObject(gate, INFINITE);
    const std::lock_guard<std::mutex> lock(removalsMutex);
    removals.push_back({client, local, GetTickCount()});
    return 1;
}

std::vector<Removal> Removals() {
    const std::lock_guard<std::mutex> lock(removalsMutex);
    return removals;
}

void AwaitRemovals(std::size_t count) {
    for (int i = 0; i < 3000 && Removals().size() < count; ++i)
        Sleep(10);
    ASSERT_GE(Removals().size(), count);
}

IpAddress Client(unsigned number) {
    return {{10, 1, static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)}};
}

class ArpExpiry : public testing::Test {
  protected:
    static void Start(DWORD timeout) {
        removals.clear();
        StartArpExpiry(timeout, RecordRemoval);
    }
    void TearDown() override { StopArpExpiry(); }
};

TEST(RemainingArpTime, IsRightAcrossTheWrap) {
    const std::array<DWORD, 3> cases[] = {
        {1000, 1000, 60000}, {60999, 1000, 1}, {61000, 1000, 0}, {99999, 1000, 0}, {5, 0xFFFFFFFB, 59990}};
    for (const auto& [now, posted, rest] : cases)
        EXPECT_EQ(RemainingArpTime(now, posted, 60000), rest) << now;
    EXPECT_EQ(RemainingArpTime(1000, 1000, 0), 0u);
}

TEST_F(ArpExpiry, RemovesEachEntryAfterItsTimeInTheOrderOfPosting) {
    constexpr DWORD kTimeout = 100;
    Start(kTimeout);
    const DWORD begun = GetTickCount();
    PostArpExpiry(kLocal, Client(1));
    Sleep(50);
    PostArpExpiry(kLocal, Client(2));
    AwaitRemovals(2);
    const auto all = Removals();
    EXPECT_EQ(all[0].client + " " + all[0].local, "10.1.0.1 10.1.0.1");
    EXPECT_EQ(all[1].client + " " + all[1].local, "10.1.0.2 10.1.0.1");
    EXPECT_GE(all[0].time - begun, kTimeout);
    EXPECT_GE(all[1].time - begun, kTimeout + 50);
}

// More than a message queue holds: the oldest go early, the others wait, and the stop removes them.
TEST_F(ArpExpiry, ForgetsNoEntry) {
    constexpr unsigned kMany = 12000;
    constexpr unsigned kHeld = 10000;
    Start(kAnHour);
    for (unsigned i = 0; i < kMany; ++i)
        PostArpExpiry(kLocal, Client(i));
    AwaitRemovals(kMany - kHeld);
    EXPECT_LT(Removals().size(), kMany / 2) << "the others keep their time";
    StopArpExpiry();
    const auto all = Removals();
    ASSERT_EQ(all.size(), kMany);
    for (unsigned i = 0; i < kMany; ++i)
        ASSERT_EQ(all[i].client, "10.1." + std::to_string(i >> 8) + "." + std::to_string(i & 255));
}

TEST_F(ArpExpiry, AStopDoesNotWaitForAHelperThatHangs) {
    gate = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    Start(0);
    PostArpExpiry(kLocal, Client(1));
    StopArpExpiry();
    EXPECT_THAT(Removals(), testing::IsEmpty());
    SetEvent(gate);
    AwaitRemovals(1);
}

}  // namespace
