// What other local users can put in the way of the files that a service writes and reads whole.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "platform/linux/instance/service_names.h"
#include "platform/linux/system/guarded_file.h"
#include "platform/test_home.h"
#include "platform/windows_api.h"

namespace {

using testing::HasSubstr;

constexpr uid_t Stranger = 65534;
constexpr mode_t Shared = 01777;
constexpr mode_t Own = 0755;

BOOL ReportAnEvent() {
    const HANDLE log = RegisterEventSourceA(nullptr, "Quillon");
    const BOOL reported = ReportEventA(log, EVENTLOG_INFORMATION_TYPE, 0, 3, nullptr, 0, 0, nullptr, nullptr);
    DeregisterEventSource(log);
    return reported;
}

LONG CreateAKey() {
    HKEY key = nullptr;
    const LONG error = RegCreateKeyA(HKEY_LOCAL_MACHINE, "A", &key);
    if (error == 0) RegCloseKey(key);
    return error;
}

BOOL OpenALog(const TestHome& home) {
    const HANDLE log = CreateFileA(home.Path("bootps.log").c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                   OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    return log != INVALID_HANDLE_VALUE && CloseHandle(log);
}

mode_t ModeOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

// A file that somebody else has put where the service will write.
void Plant(const std::string& path, const std::string& kind) {
    if (kind == "a link") {
        ASSERT_EQ(symlink((path + ".target").c_str(), path.c_str()), 0);
    } else if (kind == "a pipe") {
        ASSERT_EQ(mkfifo(path.c_str(), 0666), 0);
    } else if (kind != "nothing") {
        close(open(path.c_str(), O_WRONLY | O_CREAT, 0666));
        if (kind == "a second name") {
            ASSERT_EQ(link(path.c_str(), (path + ".other").c_str()), 0);
        } else if (kind == "a stranger's file") {
            ASSERT_EQ(chown(path.c_str(), Stranger, Stranger), 0);
        }
    }
}

TEST(SharedFolder, OnlyHarmlessFilesAreWritten) {
    for (const std::string kind :
         {"nothing", "an own file", "a link", "a second name", "a pipe", "a stranger's file"}) {
        if (kind == "a stranger's file" && geteuid() != 0) continue;  // can't be made then
        const bool isHarmless = kind == "nothing" || kind == "an own file";
        for (const mode_t folder : {Own, Shared}) {
            SCOPED_TRACE(kind + (folder == Own ? std::string(" of our own") : " among strangers"));
            const TestHome home;
            ASSERT_EQ(chmod(home.Path("").c_str(), folder), 0);
            Plant(home.Path("x"), kind);
            const Descriptor file = OpenToWrite(home.Path("x"), O_RDWR | O_CREAT, 0640);
            EXPECT_EQ(static_cast<bool>(file), isHarmless || folder == Own);
            EXPECT_TRUE(file || errno == EACCES);
        }
    }
}

TEST(SharedFolder, NoLinkInItIsFollowed) {
    const TestHome home;
    for (const char* name : {"events.log", "bootps.log", "registry.reg.lock"})
        Plant(home.Path(name), "a link");
    ASSERT_EQ(chmod(home.Path("").c_str(), Shared), 0);
    EXPECT_FALSE(ReportAnEvent());
    EXPECT_FALSE(OpenALog(home));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_NE(CreateAKey(), 0);
    for (const char* name : {"events.log", "bootps.log", "registry.reg.lock"})
        EXPECT_FALSE(std::filesystem::exists(home.Path(name)));
}

TEST(SharedFolder, NobodyElseCanOpenWhatTheServiceLocks) {
    const mode_t mask = umask(0);
    const TestHome home;
    close(open(home.Path("registry.reg.lock").c_str(), O_WRONLY | O_CREAT, 0644));
    EXPECT_TRUE(ReportAnEvent());
    EXPECT_TRUE(OpenALog(home));
    EXPECT_EQ(CreateAKey(), 0);
    umask(mask);
    EXPECT_EQ(ModeOf(home.Path("registry.reg.lock")), 0600u);
    EXPECT_EQ(ModeOf(home.Path("events.log")), 0640u);
    EXPECT_EQ(ModeOf(home.Path("bootps.log")), 0640u);
    EXPECT_EQ(ModeOf(home.Path("registry.reg")), 0644u) << "the service may run as another user";
}

TEST(SharedFolder, AnEventWaitsForNoLock) {
    const TestHome home;
    ASSERT_TRUE(ReportAnEvent());
    const Descriptor reader(open(home.Path("events.log").c_str(), O_RDONLY));
    ASSERT_EQ(flock(reader.Get(), LOCK_EX), 0);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 200; ++i)
        ASSERT_TRUE(ReportAnEvent());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

// A reader or a writer would wait at a pipe until somebody comes to its other end.
TEST(SharedFolder, APipeHoldsNobodyUp) {
    const TestHome home;
    for (const char* name : {"services", "registry.reg.new"})
        Plant(home.Path(name), "a pipe");
    EXPECT_FALSE(LookUpServiceName("no-such-service", "udp"));
    EXPECT_EQ(CreateAKey(), 0);
    EXPECT_THAT(home.Read("registry.reg"), HasSubstr("\\A]"));
    ASSERT_EQ(rename(home.Path("services").c_str(), home.Path("registry.reg").c_str()), 0);
    EXPECT_EQ(CreateAKey(), static_cast<LONG>(ERROR_ACCESS_DENIED));
}

}  // namespace
