#include <atomic>
#include <functional>

#include "platform/test_thread.h"

namespace {

TEST(ThreadTest, HasAnIdAndALastErrorOfItsOwnAndSignalsItsEnd) {
    const HANDLE go = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    DWORD seen = 0;
    SetLastError(17);
    TestThread thread([&] {
        EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
        SetLastError(18);
        seen = GetCurrentThreadId();
        WaitForSingleObject(go, INFINITE);
    });
    EXPECT_FALSE(thread.HasEnded(kSettle));
    EXPECT_EQ(GetLastError(), 17u);
    const auto body = [](LPVOID event) -> DWORD {
        Sleep(20);
        return SetEvent(event) ? 0 : 1;
    };
    CloseHandle(CreateThread(nullptr, 0, body, go, 0, nullptr));  // and runs on without its handle
    EXPECT_TRUE(thread.HasEnded(30000));
    EXPECT_TRUE(thread.HasEnded());
    EXPECT_EQ(seen, thread.Id());
    EXPECT_NE(seen, GetCurrentThreadId());
    CloseHandle(go);
}

TEST(ThreadTest, SuspensionsCount) {
    std::atomic<int> rounds{0};
    std::atomic<bool> stop{false};
    TestThread thread([&] {
        for (; !stop; Sleep(1))
            ++rounds;
    });
    const auto runs = [&] {
        Sleep(kSettle);
        const int before = rounds;
        Sleep(kSettle);
        return rounds != before;
    };
    EXPECT_EQ(ResumeThread(thread.Handle()), 0u);
    EXPECT_EQ(SuspendThread(thread.Handle()), 0u);
    EXPECT_EQ(SuspendThread(thread.Handle()), 1u);
    EXPECT_FALSE(runs());
    EXPECT_EQ(ResumeThread(thread.Handle()), 2u);
    EXPECT_FALSE(runs());
    EXPECT_EQ(ResumeThread(thread.Handle()), 1u);
    EXPECT_TRUE(runs());
    stop = true;
}

// The wait ends while the thread is suspended; the thread mustn't get to see it before it is resumed.
TEST(ThreadTest, ASuspendedOneDoesNotReturnFromAWait) {
    const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    std::atomic<DWORD> id{0};
    const struct {
        const char* name;
        std::function<void()> wait, endIt;
    } cases[] = {{"event", [&] { WaitForSingleObject(event, INFINITE); }, [&] { SetEvent(event); }},
                 {"time-out", [&] { WaitForSingleObject(event, 2 * kSettle); }, [] { Sleep(2 * kSettle); }},
                 {"mutex", [&] { WaitForSingleObject(mutex, INFINITE); }, [&] { ReleaseMutex(mutex); }},
                 {"sleep", [] { Sleep(2 * kSettle); }, [] { Sleep(2 * kSettle); }},
                 {"message", [] { GetMessageA(std::make_unique<MSG>().get(), nullptr, 0, 0); },
                  [&] { PostThreadMessageA(id, 0x8000, 0, 0); }}};
    for (const auto& each : cases) {
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

TEST(ThreadTest, MaySuspendItselfOrBeSuspendedWhileItWaitsForNothing) {
    std::atomic<bool> resumed{false};
    std::atomic<bool> stop{false};
    TestThread thread([&] {
        EXPECT_EQ(SuspendThread(GetCurrentThread()), 0u);
        resumed = true;
        while (!stop) {
        }
    });
    Sleep(kSettle);
    EXPECT_FALSE(resumed);
    while (ResumeThread(thread.Handle()) == 0)
        Sleep(1);
    while (!resumed)
        Sleep(1);
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

}  // namespace
