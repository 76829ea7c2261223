// The built program under a service manager of the test's own, with too little address space or too few
// threads.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>
#include <cstring>

#include "platform/linux/instance/control_socket.h"
#include "platform/linux/system/descriptor.h"
#include "service/temporary_home.h"

namespace {

class StartLimits : public testing::Test {
  protected:
    void SetUp() override {
        home.WriteRegistry({"\"HelperDLL\"=\"" HELPER_PATH "\"", "\"LocalAddrs\"=\"127.0.0.1\""});
        home.Write("services", "bootp 0/udp\n");
        home.WriteDatabase();
        const auto address = LocalSocketAddress(home.Path("notify")).value();
        ASSERT_EQ(::bind(manager.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    enum class End { Running, FailedAloud, InSilence, Neither };

    // Under the limit as that user. One that runs is stopped again.
    End Start(int resource, rlim_t limit, uid_t user) const {
        home.Write("events.log", "");
        home.Write("output", "");
        for (const char* name : {"", "events.log", "output", "notify", "registry.reg"})
            EXPECT_EQ(::chown(home.Path(name).c_str(), user, user), 0);
        const pid_t child = ::fork();
        if (child == 0) Run(resource, limit, user);
        bool isRunning = false;
        int status = 0;
        while (::waitpid(child, &status, WNOHANG) == 0) {
            pollfd waiting{manager.Get(), POLLIN, 0};
            char text[1000] = {};
            if (::poll(&waiting, 1, 50) == 1) ::recv(manager.Get(), text, sizeof text - 1, 0);
            if (std::strncmp(text, "READY=1", 7) != 0) continue;
            isRunning = true;
            ::kill(child, SIGTERM);
        }
        if (!WIFEXITED(status)) return End::Neither;
        if (WEXITSTATUS(status) == 0) return isRunning ? End::Running : End::InSilence;
        // What the program loader can't load has no events.
        const bool hasEvent = !home.Read("events.log").empty() || WEXITSTATUS(status) == 127;
        return hasEvent && !home.Read("output").empty() ? End::FailedAloud : End::InSilence;
    }
    [[noreturn]] void Run(int resource, rlim_t limit, uid_t user) const {
        const int output = ::open(home.Path("output").c_str(), O_WRONLY);
        ::dup2(output, 2);
        ::setenv("NOTIFY_SOCKET", home.Path("notify").c_str(), 1);
        const rlimit both{limit, limit};
        if (user != 0 && ::setuid(user) != 0) ::_exit(99);
        ::setrlimit(resource, &both);
        ::execl(PROGRAM, PROGRAM, nullptr);
        ::_exit(98);
    }

    TemporaryHome home;
    const Descriptor manager{::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

TEST_F(StartLimits, TooLittleAddressSpaceIsReported) {
    int running = 0;
    int failed = 0;
    for (rlim_t megabytes = 10; megabytes <= 160; megabytes += 5) {
        const End end = Start(RLIMIT_AS, megabytes << 20, ::getuid());
        EXPECT_TRUE(end == End::Running || end == End::FailedAloud)
            << megabytes << " MiB: " << static_cast<int>(end) << home.Read("output")
            << home.Read("events.log");
        ++(end == End::Running ? running : failed);
    }
    EXPECT_GT(failed, 0);
    EXPECT_GT(running, 0) << "in 160 MiB";
}

TEST_F(StartLimits, TooFewThreadsAreReported) {
    if (::getuid() != 0) GTEST_SKIP() << "needs root to be a user without other processes";
    constexpr uid_t noOther = 61977;
    int failed = 0;
    for (rlim_t threads = 1; threads <= 8; ++threads) {
        const End end = Start(RLIMIT_NPROC, threads, noOther);
        EXPECT_TRUE(end == End::Running || end == End::FailedAloud)
            << threads << " threads: " << static_cast<int>(end) << home.Read("output")
            << home.Read("events.log");
        failed += end == End::FailedAloud;
    }
    EXPECT_GT(failed, 0);
}

}  // namespace
