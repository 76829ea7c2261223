// A thread that runs a function, made with the operations under test.
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <utility>

#include "platform/windows_api.h"

class TestThread {
  public:
    explicit TestThread(std::function<void()> body) {
        auto owned = std::make_unique<std::function<void()>>(std::move(body));
        handle_ = CreateThread(nullptr, 0, Run, owned.get(), 0, &id_);
        EXPECT_NE(handle_, nullptr);
        if (handle_ != nullptr) owned.release();
    }
    TestThread(const TestThread&) = delete;
    TestThread& operator=(const TestThread&) = delete;
    ~TestThread() {
        Join();
        CloseHandle(handle_);
    }

    HANDLE Handle() const { return handle_; }
    DWORD Id() const { return id_; }
    bool HasEnded(DWORD milliseconds = 0) const {
        return WaitForSingleObject(handle_, milliseconds) == WAIT_OBJECT_0;
    }
    void Join() const { EXPECT_TRUE(HasEnded(60000)); }

  private:
    static DWORD WINAPI Run(LPVOID parameter) {
        const std::unique_ptr<std::function<void()>> body(static_cast<std::function<void()>*>(parameter));
        (*body)();
        return 0;
    }

    DWORD id_ = 0;
    HANDLE handle_ = nullptr;
};

// So many threads that run the same, each with its number.
class TestThreads {
  public:
    TestThreads(int count, const std::function<void(int number)>& body) {
        for (int number = 0; number < count; ++number)
            threads_.emplace_back([=] { body(number); });
    }
    void Join() { threads_.clear(); }

  private:
    std::deque<TestThread> threads_;
};

// Long enough for another thread to have reached its wait, or to have left it if it were going to.
constexpr DWORD kSettle = 100;
