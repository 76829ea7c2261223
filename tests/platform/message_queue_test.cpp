#include "platform/test_thread.h"

namespace {

constexpr UINT kMessage = 0x8000;

MSG Take() {
    MSG message{};
    EXPECT_TRUE(GetMessageA(&message, static_cast<HWND>(INVALID_HANDLE_VALUE), 0, 0));
    return message;
}

TEST(MessageQueueTest, ReachesAThreadThatHasNotAskedYet) {
    const HANDLE posted = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    DWORD postedAt = 0;
    TestThread thread([&] {
        WaitForSingleObject(posted, INFINITE);
        const MSG message = Take();
        EXPECT_EQ(message.hwnd, nullptr);
        EXPECT_EQ(message.message, kMessage);
        EXPECT_EQ(message.wParam, WPARAM{0xC0A80001});
        EXPECT_EQ(message.lParam, LPARAM{-7});
        EXPECT_LE(message.time - postedAt, 50u) << "stamped when it is posted";
    });
    Sleep(kSettle);
    postedAt = GetTickCount();
    EXPECT_TRUE(PostThreadMessageA(thread.Id(), kMessage, 0xC0A80001, -7));
    Sleep(2 * kSettle);
    SetEvent(posted);
    thread.Join();
    CloseHandle(posted);
    EXPECT_FALSE(PostThreadMessageA(thread.Id(), kMessage, 0, 0)) << "it has ended";
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_THREAD_ID});
}

TEST(MessageQueueTest, KeepsTheOrderOfEachPoster) {
    const DWORD self = GetCurrentThreadId();
    const TestThreads posters(3, [=](int poster) {
        for (LPARAM i = 0; i < 2000; ++i)
            EXPECT_TRUE(PostThreadMessageA(self, kMessage, static_cast<WPARAM>(poster), i));
    });
    std::vector<LPARAM> next(3, 0);
    for (int taken = 0; taken < 3 * 2000; ++taken) {
        const MSG message = Take();
        ASSERT_EQ(message.lParam, next.at(message.wParam)++);
    }
}

TEST(MessageQueueTest, HoldsTenThousand) {
    TestThread([] {
        const DWORD self = GetCurrentThreadId();
        for (int i = 0; i < 10000; ++i)
            ASSERT_TRUE(PostThreadMessageA(self, kMessage, 0, i));
        EXPECT_FALSE(PostThreadMessageA(self, kMessage, 0, 0));
        EXPECT_EQ(GetLastError(), 1816u);
        EXPECT_EQ(Take().lParam, 0);
        EXPECT_TRUE(PostThreadMessageA(self, kMessage, 0, 10000));
        for (int i = 1; i <= 10000; ++i)
            ASSERT_EQ(Take().lParam, i);
    }).Join();
}

TEST(MessageQueueTest, WaitMessageAnnouncesEachMessageOnce) {
    TestThread thread([] {
        const DWORD self = GetCurrentThreadId();
        PostThreadMessageA(self, kMessage, 0, 1);
        PostThreadMessageA(self, kMessage, 0, 2);
        EXPECT_TRUE(WaitMessage());
        EXPECT_EQ(Take().lParam, 1);
        EXPECT_TRUE(WaitMessage());  // for the quit message, since 2 has been announced
        EXPECT_EQ(Take().lParam, 2);
        MSG quit{};
        EXPECT_EQ(GetMessageA(&quit, nullptr, 0, 0), FALSE);
        EXPECT_EQ(quit.wParam, WPARAM{5});
    });
    EXPECT_FALSE(thread.HasEnded(kSettle));
    EXPECT_TRUE(PostThreadMessageA(thread.Id(), 0x12, 5, 0));
    thread.Join();
}

}  // namespace
