// What the layer promises beyond what Windows does.
#include "platform/linux/objects/object.h"

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <csignal>
#include <deque>
#include <mutex>
#include <set>

#include "platform/linux/objects/short_lock.h"
#include "platform/linux/system/system_error.h"
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

struct Counts {
    int closed = 0;
    int destroyed = 0;
};

class Probe final : public Object {
  public:
    static constexpr ObjectType OwnType = ObjectType::Timer;
    explicit Probe(Counts& counts) : Object(OwnType), counts_(counts) {}
    ~Probe() override { ++counts_.destroyed; }
    void OnLastHandleClosed() override { ++counts_.closed; }

  private:
    Counts& counts_;
};

TEST(ObjectTest, LivesAsLongAsAHandleOrAReference) {
    Counts counts;
    const HANDLE first = PublishObject(MakeObject<Probe>(counts));
    const HANDLE second = DuplicateObjectHandle(first);
    Ref<Object> reference = LookUpObject<Probe>(first);
    Ref<Object> copy = reference;
    EXPECT_FALSE(CloseObjectHandle(first, ObjectType::Socket));
    EXPECT_TRUE(CloseObjectHandle(first, ObjectType::Timer));
    EXPECT_EQ(counts.closed, 0);
    EXPECT_TRUE(CloseObjectHandle(second, ObjectType::Timer));
    EXPECT_EQ(counts.closed, 1);
    reference = nullptr;
    Object* detached = copy.Detach();
    EXPECT_EQ(counts.destroyed, 0);
    detached->ReleaseReference();
    EXPECT_EQ(counts.destroyed, 1);
}

TEST(ObjectTest, AValueIsNotReusedSoon) {
    std::set<HANDLE> values;
    for (int i = 0; i < 10000; ++i) {
        const HANDLE handle = CreateEventA(nullptr, TRUE, TRUE, nullptr);
        EXPECT_TRUE(values.insert(handle).second);
        CloseHandle(handle);
    }
}

// Whoever uses a handle while it is closed, and its place taken again, gets the object or a refusal.
TEST(ObjectTest, LookupsAndClosesMayRace) {
    std::atomic<HANDLE> handle{CreateMutexA(nullptr, FALSE, nullptr)};
    std::atomic<bool> stop{false};
    TestThreads users(3, [&](int) {
        while (!stop) {
            const HANDLE used = handle;
            const DWORD answer = WaitForSingleObject(used, 5);
            if (answer == WAIT_OBJECT_0) ReleaseMutex(used);
            EXPECT_NE(answer, WAIT_ABANDONED);
        }
    });
    for (int i = 0; i < 20000; ++i)
        EXPECT_TRUE(CloseHandle(handle.exchange(CreateMutexA(nullptr, FALSE, nullptr))));
    stop = true;
    users.Join();
    CloseHandle(handle);
}

TEST(ObjectTest, ClosingFailsThoseWhoWait) {
    for (const HANDLE handle :
         {CreateMutexA(nullptr, TRUE, nullptr), CreateEventA(nullptr, TRUE, FALSE, nullptr)}) {
        const TestThreads waiters(3, [handle](int) {
            EXPECT_EQ(WaitForSingleObject(handle, INFINITE), WAIT_FAILED);
            EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
        });
        Sleep(kSettle);
        EXPECT_TRUE(CloseHandle(handle));
    }
}

// The list of an owner leads to its mutexes also after the last handle has gone.
TEST(ObjectTest, AMutexMayBeClosedWhileAnotherThreadOwnsIt) {
    const HANDLE closedByOther = CreateMutexA(nullptr, FALSE, nullptr);
    const HANDLE kept = CreateMutexA(nullptr, FALSE, nullptr);
    const HANDLE owns = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    const HANDLE closed = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    TestThread owner([&] {
        WaitForSingleObject(closedByOther, 0);
        WaitForSingleObject(kept, 0);
        SetEvent(owns);
        WaitForSingleObject(closed, INFINITE);
        EXPECT_FALSE(ReleaseMutex(closedByOther));
    });
    WaitForSingleObject(owns, INFINITE);
    EXPECT_TRUE(CloseHandle(closedByOther));
    SetEvent(closed);
    owner.Join();
    EXPECT_EQ(WaitForSingleObject(kept, 0), WAIT_ABANDONED);
    for (const HANDLE each : {kept, owns, closed})
        CloseHandle(each);
}

// A mutex lies where its first handle has its place: no one else may get that while a second handle leads
// there.
TEST(ObjectTest, AMutexOutlivesItsFirstHandle) {
    const HANDLE first = CreateMutexA(nullptr, TRUE, nullptr);
    const HANDLE second = DuplicateObjectHandle(first);
    EXPECT_TRUE(CloseHandle(first));
    std::deque<HANDLE> others;
    for (int i = 0; i < 5000; ++i)
        others.push_back(CreateMutexA(nullptr, FALSE, nullptr));
    EXPECT_EQ(WaitForSingleObject(first, 0), WAIT_FAILED);
    EXPECT_EQ(WaitForSingleObject(second, 0), WAIT_OBJECT_0) << "it is still this thread's";
    EXPECT_TRUE(CloseHandle(second));
    for (const HANDLE other : others) {
        EXPECT_EQ(WaitForSingleObject(other, 0), WAIT_OBJECT_0);
        EXPECT_TRUE(CloseHandle(other));
    }
}

// Keeps the calling thread, and those that it starts, on one processor.
struct OnOneProcessor {
    OnOneProcessor() {
        EXPECT_EQ(sched_getaffinity(0, sizeof before, &before), 0);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(sched_getcpu(), &one);
        EXPECT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
    }
    ~OnOneProcessor() { sched_setaffinity(0, sizeof before, &before); }
    cpu_set_t before;
};

// An owner that takes the mutex again as soon as it has given it back is faster than any waiter that has to
// be woken first, above all if there is one processor.
TEST(ObjectTest, AMutexStarvesNobody) {
    constexpr int kWaiters = 3;
    const OnOneProcessor scope;
    const HANDLE mutex = CreateMutexA(nullptr, TRUE, nullptr);
    std::atomic<int> served{0};
    TestThreads waiters(kWaiters, [&](int) {
        const sched_param none{};
        EXPECT_EQ(pthread_setschedparam(pthread_self(), SCHED_BATCH, &none), 0);  // comes late when woken
        EXPECT_EQ(WaitForSingleObject(mutex, 60000), WAIT_OBJECT_0);
        ++served;
        EXPECT_TRUE(ReleaseMutex(mutex));
    });
    Sleep(kSettle);
    int rounds = 0;
    while (served < kWaiters && rounds < 2000) {
        ReleaseMutex(mutex);
        ASSERT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
        Sleep(1);
        ++rounds;
    }
    EXPECT_LE(rounds, 100);
    EXPECT_TRUE(ReleaseMutex(mutex));
    waiters.Join();
    CloseHandle(mutex);
}

TEST(ObjectTest, SignalsDontShortenAWait) {
    struct sigaction ignore {};
    ignore.sa_handler = [](int) {};
    struct sigaction before {};
    ASSERT_EQ(sigaction(SIGUSR1, &ignore, &before), 0);
    const HANDLE mutex = CreateMutexA(nullptr, TRUE, nullptr);
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    for (HANDLE handle : {mutex, event, static_cast<HANDLE>(nullptr)}) {
        std::atomic<pthread_t> thread{};
        std::atomic<bool> done{false};
        std::atomic<bool> released{false};
        TestThread waiter([&] {
            const DWORD start = GetTickCount();
            thread = pthread_self();
            handle == nullptr ? Sleep(100) : void(WaitForSingleObject(handle, 100));
            EXPECT_GE(GetTickCount() - start, 100u);
            done = true;
            while (!released)
                Sleep(1);
        });
        for (; !done; Sleep(1))
            if (thread != pthread_t{}) pthread_kill(thread, SIGUSR1);
        released = true;
    }
    sigaction(SIGUSR1, &before, nullptr);
    CloseHandle(mutex);
    CloseHandle(event);
}

TEST(ShortLockTest, LetsInOneAtATimeAndForgetsNobody) {
    ShortLock lock;
    int entered = 0;
    {
        std::deque<TestThread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                for (int round = 0; round < 5000; ++round) {
                    const std::lock_guard hold(lock);
                    const int before = entered;
                    if (round % 100 == 0) Sleep(0);
                    entered = before + 1;
                }
            });
    }
    EXPECT_EQ(entered, 20000);
}

TEST(SystemErrorTest, OneNumberMeansDifferentThingsToFilesAndSockets) {
    const std::tuple<int, DWORD, DWORD> cases[] = {{0, 0, 0},
                                                   {EACCES, ERROR_ACCESS_DENIED, DWORD(WSAEACCES)},
                                                   {EAGAIN, ERROR_NOT_ENOUGH_MEMORY, DWORD(WSAEWOULDBLOCK)},
                                                   {EADDRINUSE, ERROR_GEN_FAILURE, DWORD(WSAEADDRINUSE)},
                                                   {ECONNREFUSED, 1225, DWORD(WSAECONNRESET)},
                                                   {ENOENT, ERROR_FILE_NOT_FOUND, 10107},
                                                   {99999, ERROR_GEN_FAILURE, 10107}};
    for (const auto& [number, system, sockets] : cases) {
        EXPECT_EQ(WindowsErrorFrom(number), system) << number;
        EXPECT_EQ(WindowsErrorFrom(number, ErrorDomain::Sockets), sockets) << number;
    }
}

}  // namespace
