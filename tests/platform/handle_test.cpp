#include <algorithm>
#include <vector>

#include "platform/test_thread.h"

namespace {

TEST(HandleTest, RefusesWhatIsNoOpenHandle) {
    const HANDLE closed = CreateEventA(nullptr, TRUE, TRUE, nullptr);
    ASSERT_TRUE(CloseHandle(closed));
    const HANDLE values[] = {nullptr, closed, reinterpret_cast<HANDLE>(LONG_PTR{0x7FFFFFF0}),
                             reinterpret_cast<HANDLE>(LONG_PTR{6})};
    for (HANDLE value : values) {
        SetLastError(ERROR_SUCCESS);
        EXPECT_FALSE(CloseHandle(value)) << value;
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE}) << value;
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(WaitForSingleObject(value, INFINITE), DWORD{WAIT_FAILED}) << value;
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE}) << value;
        HANDLE copy = nullptr;
        EXPECT_FALSE(DuplicateHandle(GetCurrentProcess(), value, GetCurrentProcess(), &copy, 0, FALSE,
                                     DUPLICATE_SAME_ACCESS));
    }
}

TEST(HandleTest, RefusesAnObjectOfAnotherType) {
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    const HANDLE event = CreateEventA(nullptr, TRUE, TRUE, nullptr);
    const auto isRefused = [](auto answer) { return !answer && GetLastError() == ERROR_INVALID_HANDLE; };
    EXPECT_TRUE(isRefused(ReleaseMutex(event)));
    EXPECT_TRUE(isRefused(SetEvent(mutex)));
    EXPECT_TRUE(isRefused(ResetEvent(mutex)));
    EXPECT_EQ(SuspendThread(event), 0xFFFFFFFFu);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    CloseHandle(mutex);
    CloseHandle(event);
}

TEST(HandleTest, ADuplicateNamesTheSameObject) {
    const HANDLE first = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE second = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), first, GetCurrentProcess(), &second, 0, FALSE,
                                DUPLICATE_SAME_ACCESS));
    EXPECT_NE(first, second);
    SetEvent(first);
    EXPECT_TRUE(CloseHandle(first));
    EXPECT_EQ(WaitForSingleObject(second, 0), WAIT_OBJECT_0);
    HANDLE third = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), second, GetCurrentProcess(), &third, 0, FALSE,
                                DUPLICATE_SAME_ACCESS | DUPLICATE_CLOSE_SOURCE));
    EXPECT_FALSE(ResetEvent(second));
    EXPECT_EQ(WaitForSingleObject(third, 0), WAIT_OBJECT_0);
    EXPECT_TRUE(CloseHandle(third));
    EXPECT_FALSE(CloseHandle(third));
}

TEST(HandleTest, ADuplicateOfThePseudoHandleIsOfTheCallingThread) {
    HANDLE self = nullptr;
    TestThread thread([&] {
        EXPECT_TRUE(DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &self, 0,
                                    FALSE, DUPLICATE_SAME_ACCESS));
        EXPECT_EQ(WaitForSingleObject(self, 0), DWORD{WAIT_TIMEOUT});
    });
    thread.Join();
    EXPECT_EQ(WaitForSingleObject(self, 0), WAIT_OBJECT_0);
    CloseHandle(self);
}

TEST(HandleTest, ManyAreOpenAtOnce) {
    std::vector<HANDLE> handles(100000);
    for (HANDLE& handle : handles)
        handle = CreateMutexA(nullptr, FALSE, nullptr);
    for (HANDLE handle : handles) {
        ASSERT_EQ(WaitForSingleObject(handle, 0), WAIT_OBJECT_0);
        ASSERT_TRUE(ReleaseMutex(handle));
    }
    std::vector<HANDLE> sorted = handles;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(std::unique(sorted.begin(), sorted.end()), sorted.end());
    for (HANDLE handle : handles)
        ASSERT_TRUE(CloseHandle(handle));
}

}  // namespace
