#include "platform/lazy_release.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <optional>
#include <string>

#include "platform/successor.h"
#include "platform/windows_api.h"
#include "temporary_folder.h"

namespace {

using std::chrono::milliseconds;

struct HoldUp {
    std::string name;
    std::function<void()> happen;
};

class LazyReleaseTest : public testing::Test {
  protected:
    LazyReleaseTest() {
        for (HANDLE* mutex : {&mutex_, &owned_})
            *mutex = CreateMutexA(nullptr, FALSE, nullptr);
        event_ = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    }
    ~LazyReleaseTest() override {
        for (HANDLE handle : {mutex_, owned_, event_})
            CloseHandle(handle);
    }

    HANDLE mutex_, owned_, event_;
};

TEST_F(LazyReleaseTest, NoThreadIsWokenForAnOwnerThatComesBack) {
    bool passed = true;
    for (int tries = 0; passed && tries < 20; ++tries)
        passed = IsPassedOn(
            mutex_,
            [this] {
                for (int i = 0; i < 100; ++i) {
                    WaitForSingleObject(mutex_, 0);
                    ReleaseMutexLazily(mutex_, false);
                }
            },
            milliseconds(20));
    EXPECT_FALSE(passed);
}

TEST_F(LazyReleaseTest, WhateverHoldsTheOwnerUpPassesTheMutexOn) {
    const TemporaryFolder folder;
    const std::string ini = folder.Path("some.ini");
    std::ofstream(ini) << "[a]\nb=c\n";
    const HANDLE file =
        CreateFileA(folder.Path("file").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    std::atomic<bool> owns{false}, over{false};
    std::thread owner([&] {
        WaitForSingleObject(owned_, INFINITE);
        owns = true;
        Becomes(over, milliseconds(60'000));
    });
    Becomes(owns, milliseconds(60'000));
    DWORD written = 0;
    char text[8];
    const HoldUp holdUps[] = {
        {"what is announced", ExpectHoldUp},
        {"sleep", [] { Sleep(1); }},
        {"another thread's mutex", [this] { WaitForSingleObject(owned_, 1); }},
        {"an event", [this] { WaitForSingleObject(event_, 1); }},
        {"a file to be opened",
         [&] { CloseHandle(CreateFileA(ini.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)); }},
        {"a write", [&] { WriteFile(file, "x", 1, &written, nullptr); }},
        {"a section to be read",
         [&] { GetPrivateProfileStringA("a", "b", "", text, sizeof text, ini.c_str()); }},
        {"a turn that is over",
         [this] {
             std::this_thread::sleep_for(milliseconds(150));
             WaitForSingleObject(mutex_, 0);
             ReleaseMutexLazily(mutex_, false);
         }},
    };
    for (const HoldUp& holdUp : holdUps)
        EXPECT_TRUE(IsPassedOn(mutex_, holdUp.happen, milliseconds(5000))) << holdUp.name;
    over = true;
    owner.join();
    CloseHandle(file);
}

TEST_F(LazyReleaseTest, TakingTheMutexAgainIsEnoughWhenTheWaiterHasGone) {
    bool hasGone = false;
    for (int tries = 0; !hasGone && tries < 20; ++tries) {
        TakeLazyTurn(mutex_);
        WaitForSingleObject(mutex_, INFINITE);
        std::thread waiter([&] {
            hasGone = WaitForSingleObject(mutex_, 100) == WAIT_TIMEOUT;
            if (!hasGone) ReleaseMutex(mutex_);
        });
        std::this_thread::sleep_for(milliseconds(5));
        ReleaseMutexLazily(mutex_, false);
        waiter.join();
    }
    ASSERT_TRUE(hasGone);
    EXPECT_EQ(WaitForSingleObject(mutex_, 0), WAIT_OBJECT_0);
    ExpectHoldUp();
    EXPECT_TRUE(ReleaseMutex(mutex_));
    EXPECT_FALSE(ReleaseMutex(mutex_)) << "it was taken once";
}

TEST_F(LazyReleaseTest, AThreadThatEndsPassesTheMutexOn) {
    std::optional<Successor> successor;
    std::thread([&] {
        TakeLazyTurn(mutex_);
        WaitForSingleObject(mutex_, INFINITE);
        successor.emplace(mutex_);
        ReleaseMutexLazily(mutex_, false);
    }).join();
    EXPECT_TRUE(Becomes(successor->hasIt, milliseconds(5000)));
    WaitForSingleObject(mutex_, 5000);
    ReleaseMutex(mutex_);
}

}  // namespace
