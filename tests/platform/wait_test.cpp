#include <atomic>
#include <chrono>

#include "platform/linux/objects/mutex_line.h"
#include "platform/linux/objects/mutex_object.h"
#include "platform/test_thread.h"

namespace {

class MutexTest : public testing::Test {
  protected:
    void TearDown() override { CloseHandle(mutex_); }

    // What another thread gets that asks for the mutex, and gives it back if it gets it.
    DWORD AskElsewhere(DWORD milliseconds = 0) const {
        DWORD answer = 0;
        TestThread([&] {
            answer = WaitForSingleObject(mutex_, milliseconds);
            if (answer == WAIT_OBJECT_0 || answer == WAIT_ABANDONED) ReleaseMutex(mutex_);
        }).Join();
        return answer;
    }

    const HANDLE mutex_ = CreateMutexA(nullptr, FALSE, nullptr);
};

TEST_F(MutexTest, TakesAsManyReleasesAsTakes) {
    for (const int takes : {1, 2, 5}) {
        for (int i = 0; i < takes; ++i)
            ASSERT_EQ(WaitForSingleObject(mutex_, 0), WAIT_OBJECT_0);
        for (int i = 0; i < takes; ++i) {
            EXPECT_EQ(AskElsewhere(), DWORD{WAIT_TIMEOUT}) << i << " releases after " << takes;
            EXPECT_TRUE(ReleaseMutex(mutex_));
        }
        EXPECT_EQ(AskElsewhere(), WAIT_OBJECT_0);
        EXPECT_FALSE(ReleaseMutex(mutex_));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_OWNER});
    }
}

TEST_F(MutexTest, GoesAbandonedToOneWaiterWhenItsOwnerEnds) {
    for (const int takes : {1, 3}) {
        TestThread([&] {
            for (int i = 0; i < takes; ++i)
                WaitForSingleObject(mutex_, INFINITE);
        }).Join();
        EXPECT_EQ(WaitForSingleObject(mutex_, 0), DWORD{WAIT_ABANDONED});
        EXPECT_EQ(AskElsewhere(), DWORD{WAIT_TIMEOUT});
        EXPECT_TRUE(ReleaseMutex(mutex_));
        EXPECT_FALSE(ReleaseMutex(mutex_)) << "the takes of the old owner count no more";
        EXPECT_EQ(AskElsewhere(), WAIT_OBJECT_0);
    }
}

TEST_F(MutexTest, PassesToAWaiterWhenItsOwnerReleasesItOrEnds) {
    for (const bool releases : {true, false}) {
        const HANDLE end = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        TestThread owner([&] {
            WaitForSingleObject(mutex_, INFINITE);
            WaitForSingleObject(end, INFINITE);
            if (releases) ReleaseMutex(mutex_);
        });
        while (AskElsewhere() == WAIT_OBJECT_0)
            Sleep(1);
        DWORD answer = 0;
        TestThread waiter([&] {
            answer = WaitForSingleObjectEx(mutex_, 30000, TRUE);
            ReleaseMutex(mutex_);
        });
        EXPECT_FALSE(waiter.HasEnded(kSettle));
        SetEvent(end);
        waiter.Join();
        EXPECT_EQ(answer, releases ? DWORD{WAIT_OBJECT_0} : DWORD{WAIT_ABANDONED});
        CloseHandle(end);
    }
}

TEST_F(MutexTest, LetsInOneAtATime) {
    int inside = 0;
    TestThreads(4, [&](int number) {
        for (int take = number; take < 5000 + number; ++take) {
            if (WaitForSingleObject(mutex_, take % 3 == 2 ? INFINITE : DWORD(take % 3)) != WAIT_OBJECT_0)
                continue;
            EXPECT_EQ(++inside, 1);
            --inside;
            EXPECT_TRUE(ReleaseMutex(mutex_));
        }
    }).Join();
    EXPECT_EQ(AskElsewhere(), WAIT_OBJECT_0);
}

// Releases that come when the waiters give up, by an owner that passes them over again and again.
TEST_F(MutexTest, IsNotLostWhenAWaiterGivesUpAtItsRelease) {
    std::atomic<bool> stop{false};
    TestThreads waiters(2, [&](int) {
        while (!stop)
            if (WaitForSingleObject(mutex_, 1) == WAIT_OBJECT_0) ReleaseMutex(mutex_);
    });
    for (int round = 0; round < 300; ++round) {
        ASSERT_EQ(WaitForSingleObject(mutex_, 30000), WAIT_OBJECT_0) << round;
        const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(900 + round * 37 % 300);
        while (std::chrono::steady_clock::now() < end) {
        }
        ASSERT_TRUE(ReleaseMutex(mutex_));
    }
    stop = true;
    waiters.Join();
    EXPECT_EQ(AskElsewhere(30000), WAIT_OBJECT_0);
}

// Both have decided, and wait for the lock under which the line changes. Whichever gets it first, the mutex
// goes on to who waits for it next.
TEST_F(MutexTest, MayBeReleasedWhileTheOnlyWaiterGivesUp) {
    const Ref<MutexObject> object = LookUpObject<MutexObject>(mutex_);
    MutexLine& line = MutexLine::Of(*object);
    const auto awaitWaiter = [&] {
        for (bool waits = false; !waits; Sleep(1)) {
            const std::lock_guard lock(line.lock);
            waits = line.FirstOf(*object) != nullptr;
        }
    };
    const auto ask = [&](DWORD milliseconds) {
        const DWORD answer = WaitForSingleObject(mutex_, milliseconds);
        if (answer == WAIT_OBJECT_0) ReleaseMutex(mutex_);
        return answer;
    };
    for (const DWORD release : {10u, 400u}) {
        ASSERT_EQ(WaitForSingleObject(mutex_, 0), WAIT_OBJECT_0);
        TestThread waiter([&] { ask(200); });
        awaitWaiter();
        std::atomic<bool> isHeld{false};
        TestThread holder([&] {
            const std::lock_guard lock(line.lock);
            isHeld = true;
            Sleep(600);
        });
        while (!isHeld)
            Sleep(1);
        Sleep(release);
        EXPECT_TRUE(ReleaseMutex(mutex_));
        waiter.Join();
        ASSERT_EQ(WaitForSingleObject(mutex_, 0), WAIT_OBJECT_0);
        DWORD answer = 0;
        TestThread next([&] { answer = ask(5000); });
        awaitWaiter();
        EXPECT_TRUE(ReleaseMutex(mutex_));
        next.Join();
        EXPECT_EQ(answer, WAIT_OBJECT_0) << release;
    }
}

TEST(EventTest, StaysSetOrLetsOnePass) {
    for (const BOOL manualReset : {TRUE, FALSE})
        for (const BOOL initialState : {TRUE, FALSE}) {
            const HANDLE event = CreateEventA(nullptr, manualReset, initialState, nullptr);
            const auto passes = [event] { return WaitForSingleObject(event, 1) == WAIT_OBJECT_0; };
            EXPECT_EQ(passes(), initialState != FALSE);
            EXPECT_EQ(passes(), manualReset && initialState);
            SetEvent(event);
            SetEvent(event);
            EXPECT_TRUE(passes());
            EXPECT_EQ(passes(), manualReset != FALSE);
            SetEvent(event);
            ResetEvent(event);
            EXPECT_FALSE(passes());
            CloseHandle(event);
        }
}

TEST(EventTest, ReleasesWhoWaitsAtThatMoment) {
    const struct {
        BOOL manualReset;
        int sets;
        bool resetAtOnce;
        int released;  // of three waiters
    } cases[] = {{FALSE, 1, false, 1},
                 {FALSE, 2, false, 2},
                 {FALSE, 2, true, 2},
                 {TRUE, 1, false, 3},
                 {TRUE, 1, true, 3}};
    for (const auto& each : cases) {
        const HANDLE event = CreateEventA(nullptr, each.manualReset, FALSE, nullptr);
        std::atomic<int> released{0};
        TestThreads waiters(3, [&](int) {
            WaitForSingleObject(event, INFINITE);
            ++released;
        });
        Sleep(kSettle);
        for (int i = 0; i < each.sets; ++i)
            SetEvent(event);
        if (each.resetAtOnce) ResetEvent(event);
        Sleep(kSettle);
        EXPECT_EQ(released, each.released) << each.manualReset << each.sets << each.resetAtOnce;
        for (int i = 0; i < 3 - each.released; ++i)
            SetEvent(event);
        waiters.Join();
        CloseHandle(event);
    }
}

// Both threads signal each other: a signal that is lost stops the test, one that is doubled breaks the
// alternation.
TEST(EventTest, LosesAndDoublesNoSignal) {
    const HANDLE there = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    const HANDLE back = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    int turns = 0;
    TestThread partner([&] {
        for (int i = 0; i < 3000; ++i) {
            WaitForSingleObject(there, INFINITE);
            EXPECT_EQ(turns++, 2 * i + 1);
            SetEvent(back);
        }
    });
    for (int i = 0; i < 3000; ++i) {
        EXPECT_EQ(turns++, 2 * i);
        SetEvent(there);
        ASSERT_EQ(WaitForSingleObject(back, 30000), WAIT_OBJECT_0);
    }
    partner.Join();
    CloseHandle(there);
    CloseHandle(back);
}

}  // namespace
