#include <set>

#include "platform/test_thread.h"

namespace {

HANDLE Duplicate(HANDLE handle, DWORD options = 0) {
    const HANDLE self = GetCurrentProcess();
    HANDLE copy = nullptr;
    return DuplicateHandle(self, handle, self, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS | options) ? copy
                                                                                                 : nullptr;
}

TEST(HandleTest, RefusesWhatIsNoOpenHandle) {
    const HANDLE closed = CreateEventA(nullptr, TRUE, TRUE, nullptr);
    ASSERT_TRUE(CloseHandle(closed));
    for (HANDLE value : {HANDLE{nullptr}, closed, reinterpret_cast<HANDLE>(LONG_PTR{6})}) {
        EXPECT_FALSE(CloseHandle(value)) << value;
        EXPECT_EQ(WaitForSingleObject(value, INFINITE), DWORD{WAIT_FAILED}) << value;
        EXPECT_EQ(Duplicate(value), nullptr) << value;
    }
}

TEST(HandleTest, ADuplicateNamesTheSameObject) {
    const HANDLE first = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    const HANDLE second = Duplicate(first);
    EXPECT_NE(first, second);
    SetEvent(first);
    EXPECT_TRUE(CloseHandle(first));
    EXPECT_EQ(WaitForSingleObject(second, 0), WAIT_OBJECT_0);
    const HANDLE third = Duplicate(second, DUPLICATE_CLOSE_SOURCE);
    EXPECT_FALSE(ResetEvent(second));
    EXPECT_EQ(WaitForSingleObject(third, 0), WAIT_OBJECT_0);
    EXPECT_TRUE(CloseHandle(third));
}

TEST(HandleTest, ADuplicateOfThePseudoHandleIsOfTheCallingThread) {
    HANDLE self = nullptr;
    TestThread([&] {
        self = Duplicate(GetCurrentThread());
        EXPECT_EQ(WaitForSingleObject(self, 0), DWORD{WAIT_TIMEOUT});
    }).Join();
    EXPECT_EQ(WaitForSingleObject(self, 0), WAIT_OBJECT_0);
    CloseHandle(self);
}

TEST(HandleTest, ManyAreOpenAtOnce) {
    std::set<HANDLE> handles;
    while (handles.size() < 100000)
        ASSERT_TRUE(handles.insert(CreateMutexA(nullptr, TRUE, nullptr)).second);
    for (HANDLE handle : handles) {
        ASSERT_TRUE(ReleaseMutex(handle));
        ASSERT_TRUE(CloseHandle(handle));
    }
}

}  // namespace
