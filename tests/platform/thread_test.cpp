#include <atomic>
#include <functional>
#include <set>

#include "platform/test_thread.h"

namespace {

TEST(ThreadTest, GivesItsIdAndSignalsItsEnd) {
    const HANDLE go = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    DWORD seen = 0;
    TestThread thread([&] {
        seen = GetCurrentThreadId();
        WaitForSingleObject(go, INFINITE);
    });
    EXPECT_FALSE(thread.HasEnded(kSettle));
    SetEvent(go);
    EXPECT_TRUE(thread.HasEnded(30000));
    EXPECT_TRUE(thread.HasEnded());
    EXPECT_EQ(seen, thread.Id());
    EXPECT_NE(seen, GetCurrentThreadId());
    CloseHandle(go);
}

TEST(ThreadTest, RunsOnWithoutItsHandle) {
    const HANDLE done = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    const auto body = [](LPVOID event) -> DWORD {
        Sleep(20);
        SetEvent(event);
        return 0;
    };
    CloseHandle(CreateThread(nullptr, 0, body, done, 0, nullptr));
    EXPECT_EQ(WaitForSingleObject(done, 30000), WAIT_OBJECT_0);
    CloseHandle(done);
}

TEST(ThreadTest, KeepsItsOwnLastError) {
    SetLastError(17);
    TestThread([] {
        EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
        SetLastError(18);
    }).Join();
    EXPECT_EQ(GetLastError(), 17u);
}

TEST(ThreadTest, SuspensionsCount) {
    std::atomic<int> rounds{0};
    std::atomic<bool> stop{false};
    TestThread thread([&] {
        while (!stop) {
            ++rounds;
            Sleep(1);
        }
    });
    EXPECT_EQ(ResumeThread(thread.Handle()), 0u);
    EXPECT_EQ(SuspendThread(thread.Handle()), 0u);
    EXPECT_EQ(SuspendThread(thread.Handle()), 1u);
    Sleep(kSettle);
    int before = rounds;
    Sleep(kSettle);
    EXPECT_EQ(rounds, before);
    EXPECT_EQ(ResumeThread(thread.Handle()), 2u);
    Sleep(kSettle);
    EXPECT_EQ(rounds, before);
    EXPECT_EQ(ResumeThread(thread.Handle()), 1u);
    Sleep(kSettle);
    EXPECT_GT(rounds, before);
    stop = true;
}

TEST(ThreadTest, AnEndedOneCannotBeSuspended) {
    TestThread thread([] {});
    thread.Join();
    EXPECT_EQ(SuspendThread(thread.Handle()), 0xFFFFFFFFu);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
}

TEST(ThreadTest, MaySuspendItself) {
    std::atomic<bool> resumed{false};
    TestThread thread([&] {
        EXPECT_EQ(SuspendThread(GetCurrentThread()), 0u);
        resumed = true;
    });
    Sleep(kSettle);
    EXPECT_FALSE(resumed);
    while (ResumeThread(thread.Handle()) == 0)
        Sleep(1);
    thread.Join();
    EXPECT_TRUE(resumed);
}

// The wait ends while the thread is suspended; the thread mustn't get to see it before it is resumed.
TEST(ThreadTest, ASuspendedOneDoesNotReturnFromAWait) {
    const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    std::atomic<DWORD> id{0};
    struct Case {
        const char* name;
        std::function<void()> wait;
        std::function<void()> endIt;
    };
    const Case cases[] = {
        {"event", [&] { WaitForSingleObject(event, INFINITE); }, [&] { SetEvent(event); }},
        {"time-out", [&] { WaitForSingleObject(event, 2 * kSettle); }, [] { Sleep(2 * kSettle); }},
        {"mutex", [&] { WaitForSingleObject(mutex, INFINITE); }, [&] { ReleaseMutex(mutex); }},
        {"sleep", [] { Sleep(2 * kSettle); }, [] { Sleep(2 * kSettle); }},
        {"message",
         [] {
             MSG message;
             GetMessageA(&message, nullptr, 0, 0);
         },
         [&] { PostThreadMessageA(id, 0x8000, 0, 0); }},
    };
    for (const Case& each : cases) {
        WaitForSingleObject(mutex, INFINITE);
        std::atomic<bool> returned{false};
        TestThread thread([&] {
            each.wait();
            returned = true;
        });
        id = thread.Id();
        Sleep(kSettle);
        EXPECT_EQ(SuspendThread(thread.Handle()), 0u) << each.name;
        each.endIt();
        Sleep(kSettle);
        EXPECT_FALSE(returned) << each.name;
        EXPECT_EQ(ResumeThread(thread.Handle()), 1u) << each.name;
        thread.Join();
        WaitForSingleObject(mutex, INFINITE);
        while (ReleaseMutex(mutex)) {
        }
    }
    CloseHandle(event);
    CloseHandle(mutex);
}

TEST(ThreadTest, ASuspendedOneTakesNoMutex) {
    const HANDLE mutex = CreateMutexA(nullptr, TRUE, nullptr);
    TestThread suspended([&] {
        EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
        ReleaseMutex(mutex);
    });
    Sleep(kSettle);
    SuspendThread(suspended.Handle());
    TestThread other([&] {
        EXPECT_EQ(WaitForSingleObject(mutex, 30000), WAIT_OBJECT_0);
        ReleaseMutex(mutex);
    });
    Sleep(kSettle);
    ReleaseMutex(mutex);
    EXPECT_TRUE(other.HasEnded(30000));
    EXPECT_FALSE(suspended.HasEnded(kSettle));
    ResumeThread(suspended.Handle());
    suspended.Join();
    CloseHandle(mutex);
}

// Wherever the suspension hits a thread that takes a mutex, gives it back and takes it again.
TEST(ThreadTest, ASuspendedOneKeepsNoMutexThatItJustGot) {
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    std::atomic<bool> stop{false};
    TestThread taker([&] {
        while (!stop) {
            WaitForSingleObject(mutex, INFINITE);
            ReleaseMutex(mutex);
        }
    });
    for (int round = 0; round < 20000; ++round) {
        ASSERT_EQ(WaitForSingleObject(mutex, 30000), WAIT_OBJECT_0) << round;
        if (round % 2 == 0) ReleaseMutex(mutex);
        SuspendThread(taker.Handle());
        if (round % 2 != 0) ReleaseMutex(mutex);
        ASSERT_EQ(WaitForSingleObject(mutex, 30000), WAIT_OBJECT_0) << round;
        ReleaseMutex(mutex);
        ResumeThread(taker.Handle());
    }
    stop = true;
    taker.Join();
    CloseHandle(mutex);
}

TEST(ThreadTest, SuspendingOneThatWaitsForNothingReturnsAtOnce) {
    std::atomic<bool> stop{false};
    TestThread thread([&] {
        while (!stop) {
        }
    });
    EXPECT_EQ(SuspendThread(thread.Handle()), 0u);
    EXPECT_EQ(ResumeThread(thread.Handle()), 1u);
    stop = true;
}

TEST(ThreadDeathTest, ASuspendedOneLetsTheProcessEnd) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            TestThread thread([] {
                Sleep(1);
                Sleep(INFINITE);
            });
            SuspendThread(thread.Handle());
            Sleep(kSettle);
            std::exit(3);
        },
        testing::ExitedWithCode(3), "");
}

TEST(ThreadTest, WithoutMemoryForItsStackThereIsNone) {
    const auto body = [](LPVOID) -> DWORD { return 0; };
    EXPECT_EQ(CreateThread(nullptr, SIZE_T{1} << 46, body, nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
}

TEST(ThreadTest, TheTickCountCountsMilliseconds) {
    const DWORD start = GetTickCount();
    Sleep(120);
    const DWORD elapsed = GetTickCount() - start;
    EXPECT_GE(elapsed, 100u);
    EXPECT_LT(elapsed, 5000u);
}

}  // namespace
