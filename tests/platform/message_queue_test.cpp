#include <deque>
#include <vector>

#include "platform/test_thread.h"

namespace {

constexpr UINT kMessage = 0x8000;
const HWND kThreadMessages = static_cast<HWND>(INVALID_HANDLE_VALUE);

MSG Take() {
    MSG message{};
    EXPECT_TRUE(GetMessageA(&message, kThreadMessages, 0, 0));
    return message;
}

TEST(MessageQueueTest, ReachesAThreadThatHasNotAskedYet) {
    const HANDLE posted = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    const HANDLE ready = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    DWORD postedAt = 0;
    TestThread thread([&] {
        SetEvent(ready);
        WaitForSingleObject(posted, INFINITE);
        const MSG message = Take();
        EXPECT_EQ(message.hwnd, nullptr);
        EXPECT_EQ(message.message, kMessage);
        EXPECT_EQ(message.wParam, WPARAM{0xC0A80001});
        EXPECT_EQ(message.lParam, LPARAM{-7});
        EXPECT_LE(message.time - postedAt, 50u) << "stamped when it is posted";
    });
    WaitForSingleObject(ready, INFINITE);
    postedAt = GetTickCount();
    EXPECT_TRUE(PostThreadMessageA(thread.Id(), kMessage, 0xC0A80001, -7));
    Sleep(2 * kSettle);
    SetEvent(posted);
    thread.Join();
    CloseHandle(posted);
    CloseHandle(ready);
}

TEST(MessageQueueTest, KeepsTheOrderOfEachPoster) {
    constexpr WPARAM kPosters = 3;
    constexpr LPARAM kEach = 2000;
    const DWORD self = GetCurrentThreadId();
    std::deque<TestThread> posters;
    for (WPARAM poster = 0; poster < kPosters; ++poster)
        posters.emplace_back([=] {
            for (LPARAM i = 0; i < kEach; ++i)
                EXPECT_TRUE(PostThreadMessageA(self, kMessage, poster, i));
        });
    std::vector<LPARAM> next(kPosters, 0);
    for (WPARAM taken = 0; taken < kPosters * kEach; ++taken) {
        const MSG message = Take();
        ASSERT_LT(message.wParam, kPosters);
        ASSERT_EQ(message.lParam, next[message.wParam]++);
    }
}

TEST(MessageQueueTest, RefusesAThreadThatHasEndedOrNeverWas) {
    TestThread ended([] {});
    ended.Join();
    for (const DWORD id : {ended.Id(), DWORD{0}, DWORD{0xFFFFFFFE}}) {
        EXPECT_FALSE(PostThreadMessageA(id, kMessage, 0, 0)) << id;
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_THREAD_ID}) << id;
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
        EXPECT_TRUE(WaitMessage());  // for 3, since 2 has been announced
        EXPECT_EQ(Take().lParam, 2);
        EXPECT_EQ(Take().lParam, 3);
    });
    EXPECT_FALSE(thread.HasEnded(kSettle));
    EXPECT_TRUE(PostThreadMessageA(thread.Id(), kMessage, 0, 3));
    thread.Join();
}

TEST(MessageQueueTest, TheQuitMessageAnswersFalse) {
    PostThreadMessageA(GetCurrentThreadId(), 0x12, 5, 0);
    MSG message{};
    EXPECT_EQ(GetMessageA(&message, nullptr, 0, 0), FALSE);
    EXPECT_EQ(message.wParam, WPARAM{5});
}

}  // namespace
