// An install that is killed, and the next one.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <map>

#include "service/temporary_home.h"

namespace {

constexpr int Killed = -1;

// Calls that change what is on the disk, one at least for each step of an install.
bool ChangesTheDisk(const __ptrace_syscall_info& call) {
    return call.entry.nr == SYS_rename || call.entry.nr == SYS_unlink || call.entry.nr == SYS_mkdir;
}

// Runs an install, and kills it ahead of the change with that number. Returns its exit status.
int Install(int lastChange) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(STDOUT_FILENO);
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // which doesn't work under ptrace
        ::execl(SERVICE_PROGRAM, SERVICE_PROGRAM, "-install", nullptr);
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    for (int changes = 0;;) {
        ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        ::waitpid(child, &status, 0);
        if (WIFEXITED(status)) return WEXITSTATUS(status);
        if (WIFSIGNALED(status)) return Killed;
        __ptrace_syscall_info call = {};
        ::ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof call, &call);
        if (call.op != PTRACE_SYSCALL_INFO_ENTRY || !ChangesTheDisk(call)) continue;
        if (changes++ == lastChange) ::kill(child, SIGKILL);
    }
}

std::map<std::string, std::string> FilesOf(const TemporaryHome& home) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.Path(""))) {
        const std::string name = std::filesystem::relative(entry.path(), home.Path(""));
        files[name] = entry.is_regular_file() ? home.Read(name) : "";
    }
    return files;
}

void Empty(const TemporaryHome& home) {
    for (const auto& entry : std::filesystem::directory_iterator(home.Path("")))
        std::filesystem::remove_all(entry.path());
}

TEST(InstallCrash, TheNextInstallFinishesWhatAKillHasLeft) {
    const TemporaryHome home;
    ASSERT_EQ(Install(INT_MAX), 0);
    EXPECT_EQ(Install(INT_MAX), 1) << "there is nothing left to do";
    const auto whole = FilesOf(home);
    int change = 0;
    for (bool wasKilled = true; wasKilled; ++change) {
        SCOPED_TRACE(change);
        Empty(home);
        wasKilled = Install(change) == Killed;
        ASSERT_EQ(Install(INT_MAX), wasKilled ? 0 : 1);
        ASSERT_EQ(FilesOf(home), whole);
    }
    EXPECT_GT(change, 30);
    // What an operator has set stays.
    std::string registry = home.Read("registry.reg");
    registry.replace(registry.find("\"CacheSize\"=dword:000003e8"), 26, "\"CacheSize\"=dword:00000007");
    registry.erase(registry.find("\"ExpireHits\""),
                   registry.find("\"DaemonSensitivity\"") - registry.find("\"ExpireHits\""));
    home.Write("registry.reg", registry);
    EXPECT_EQ(Install(INT_MAX), 0);
    EXPECT_NE(home.Read("registry.reg").find("\"CacheSize\"=dword:00000007"), std::string::npos);
    EXPECT_NE(home.Read("registry.reg").find("\"ExpireHits\""), std::string::npos);
}

}  // namespace
