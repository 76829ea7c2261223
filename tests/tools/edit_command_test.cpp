#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

#include "temporary_folder.h"
#include "tools/loopback_server.h"
#include "tools/run_command.h"

namespace {

using testing::HasSubstr;

constexpr char kHead[] =
    "; by hand\r\n[Options]\r\nIP Address=-2,ipaddress\r\nHost Name=12,string\r\n"
    "Boot File=-1,string\r\nOther File=-1,string\r\n\r\n[Template:lab]\r\nBoot File=a\r\n";
constexpr char kClient[] =
    "\r\n; the first\r\n[00-A0-00-00-00-01]\r\nTemplate=lab\r\nIP Address=10.0.0.1\r\n";

class EditCommandTest : public testing::Test {
  protected:
    EditCommandTest() { Write(std::string(kHead) + kClient); }

    std::string Path() const { return folder_.Path("bootptab"); }
    void Write(const std::string& text) const { folder_.Write("bootptab", text); }
    std::string Read() const { return folder_.Read("bootptab"); }
    CommandResult Run(std::vector<std::string> words) const {
        return RunQuillonctl(words, {"QUILLON_HOME=" + folder_.Path()});
    }

    TemporaryFolder folder_;
};

TEST_F(EditCommandTest, AddsSetsAndRemoves) {
    const std::string before = Read(), one = "00-a0-00-00-00-01";
    ASSERT_EQ(::chmod(Path().c_str(), 0640), 0);
    ASSERT_TRUE(::geteuid() != 0 || ::chown(Path().c_str(), 12345, 54321) == 0);
    struct stat old {};
    struct stat now {};
    ASSERT_EQ(::stat(Path().c_str(), &old), 0);
    std::filesystem::create_symlink("bootptab", folder_.Path("link"));
    const CommandResult dry =
        Run({"add", "00a000000002", "--ip", "10.0.0.2", "--template", "lab", "--dry-run"});
    EXPECT_EQ(dry.output,
              "--- " + Path() + "\n+++ " + Path() +
                  "\n@@ -12,3 +12,7 @@\n [00-A0-00-00-00-01]\r\n Template=lab\r\n IP Address=10.0.0.1\r\n"
                  "+\r\n+[00-a0-00-00-00-02]\r\n+Template=lab\r\n+IP Address=10.0.0.2\r\n");
    EXPECT_EQ(Read(), before);

    std::ifstream reader(Path(), std::ios::binary);
    const std::string first =
        "\r\n; the first\r\n[00-A0-00-00-00-01]\r\nIP Address=10.0.0.1\r\nHost Name=pc1\r\n";
    const std::string second = "\r\n[00-a0-00-00-00-02]\r\nIP Address=10.0.0.2\r\n";
    const std::pair<std::vector<std::string>, std::string> steps[] = {
        {{"add", "00:a0:0:0:0:2", "--ip", "10.0.0.2", "--file", folder_.Path("link")}, kClient + second},
        {{"set", one, "--host-name", "pc1", "--option", "other file = b;c", "--unset", "template"},
         first + "Other File=b;c\r\n" + second},
        // The key that the client has goes before the first one of the same tag.
        {{"set", one, "--boot-file", "d"}, first + "Other File=d\r\n" + second},
        {{"remove", one}, "\r\n; the first\r\n" + second},
    };
    for (const auto& [words, clients] : steps) {
        const CommandResult result = Run(words);
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(Read(), kHead + clients);
        if (words[0] == "remove") {
            EXPECT_THAT(result.errors, HasSubstr("the comment above [00-A0-00-00-00-01] stays"));
        }
    }
    // Who has opened the file before goes on with all of it.
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), before);
    ASSERT_EQ(::stat(Path().c_str(), &now), 0);
    EXPECT_EQ(std::tuple(now.st_mode, now.st_uid, now.st_gid),
              std::tuple(old.st_mode, old.st_uid, old.st_gid));
    EXPECT_TRUE(std::filesystem::is_symlink(folder_.Path("link")));
}

TEST_F(EditCommandTest, RefusesWhatWouldMakeItWorse) {
    Write(Read() + "[00-a0-00-00-00-09]\r\nIP Address=none\r\nWrong=1\r\n");
    const std::string before = Read();
    const std::string one = "00-a0-00-00-00-01", two = "00-a0-00-00-00-02";
    const std::tuple<std::vector<std::string>, int, const char*> rows[] = {
        {{"add", one, "--ip", "10.0.0.3"}, 1, "client [00-A0-00-00-00-01] is there already, in line 12"},
        {{"set", two, "--ip", "10.0.0.3"}, 1, "there is no client [00-a0-00-00-00-02]; 'add' adds it"},
        {{"remove", two}, 1, "there is no client [00-a0-00-00-00-02]"},
        {{"set", one, "--ip", "10.0.0.300"}, 1, "error: IP Address: '10.0.0.300' is no address"},
        {{"add", two, "--ip", "10.0.0.1"}, 1, "error: the address 10.0.0.1 is that of line"},
        {{"set", one, "--option", "Hots Name=x"}, 1, "isn't in [Options]; did you mean 'Host Name'?"},
        {{"set", one, "--gateway", "10.0.0.1"}, 1, "--gateway: [Options] has no key with the tag 3"},
        {{"set", one, "--unset", "IP Address"}, 1, "the client has no address, so it gets no reply"},
        {{"set", one, "--unset", "Host Name"}, 1, "has no key 'Host Name'"},
        {{"set", one}, 2, "nothing to set"},
        {{"set", one, "--ip", "10.0.0.3", "--option", "ip address=10.0.0.4"}, 2, "is given twice"},
        {{"set", one, "--host-name", "a\n[x]"}, 2, "control characters"},
        {{"set", one, "--option", "=x"}, 2, "is not of the form Name=value"},
        {{"set", "00-a0-zz", "--ip", "10.0.0.3"}, 2, "'00-a0-zz' is not a hardware address"},
        {{"set", one, "--host-name", "a", "--file", "/nowhere/x"}, 2, "/nowhere/x: No such file"},
        {{"set", one, "--host-name", "a", "--file", "/dev/null"}, 2, "no regular file"},
    };
    for (const auto& [words, status, complaint] : rows) {
        const CommandResult result = Run(words);
        EXPECT_EQ(result.status, status) << complaint;
        EXPECT_THAT(result.errors, HasSubstr(complaint));
        EXPECT_EQ(Read(), before) << complaint;
    }
    EXPECT_EQ(Run({"set", one, "--host-name", "pc"}).status, 0) << "what was wrong before is no reason";
}

TEST_F(EditCommandTest, ReloadsTheServiceOfItsHome) {
    std::string sent;
    std::optional<LoopbackServer> server;
    server.emplace([&](const LoopbackServer::Datagram& datagram) {
        sent.assign(datagram.begin(), datagram.end());
        const std::string answer("RELOAD ACK\0", 11);
        return std::vector<LoopbackServer::Datagram>{{answer.begin(), answer.end()}};
    });
    folder_.Write("services", "bootp " + server->Port() + "/udp\n");
    const CommandResult result = Run({"set", "00-a0-00-00-00-01", "--host-name", "pc", "--reload"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("Reload acknowledged by 127.0.0.1"));
    server.reset();  // its thread wrote the text
    EXPECT_EQ(sent.substr(0, 10), "RELOAD REQ");
}

TEST_F(EditCommandTest, LosesNoEditOfSeveralAtOnce) {
    std::vector<pid_t> children;
    for (int number = 10; number < 22; ++number)
        children.push_back(StartQuillonctl({"add", "00-a0-00-00-00-" + std::to_string(number), "--ip",
                                            "10.0.0." + std::to_string(number), "--file", Path()}));
    for (const pid_t child : children)
        EXPECT_EQ(StatusOf(child), 0);
    for (int number = 10; number < 22; ++number)
        EXPECT_THAT(Read(), HasSubstr("IP Address=10.0.0." + std::to_string(number) + "\r\n"));
}

TEST_F(EditCommandTest, LeavesAWholeFileWheneverItIsKilled) {
    std::string text = kHead;
    for (int number = 0; number < 2000; ++number)
        text += "\r\n[00-a1-00-00-" + std::to_string(10 + number / 90) + "-" +
                std::to_string(10 + number % 90) + "]\r\nIP Address=10.1." + std::to_string(number / 250) +
                "." + std::to_string(1 + number % 250) + "\r\n";
    const std::string one = text + kClient;
    const std::string other = std::string(one).replace(one.rfind("10.0.0.1"), 8, "10.0.0.2");
    Write(one);
    const auto set = [this](const std::string& address) {
        return StartQuillonctl({"set", "00-a0-00-00-00-01", "--ip", address, "--file", Path()});
    };
    const auto begun = std::chrono::steady_clock::now();
    ASSERT_EQ(StatusOf(set("10.0.0.2")), 0);
    const auto whole = std::chrono::steady_clock::now() - begun;
    constexpr int kRounds = 40;
    constexpr std::chrono::seconds kLongest(40);  // on a machine that has other things to do
    int interrupted = 0;
    for (int round = 0; round < kRounds && std::chrono::steady_clock::now() < begun + kLongest; ++round) {
        const pid_t child = set(round % 2 == 0 ? "10.0.0.1" : "10.0.0.2");
        // Most of them in the last third, where the file is written.
        std::this_thread::sleep_for(whole * (round % 4 == 0 ? round : kRounds * 2 / 3 + round / 3) / kRounds);
        ::kill(child, SIGKILL);
        interrupted += StatusOf(child) == -1 ? 1 : 0;
        const std::string now = Read();
        ASSERT_TRUE(now == one || now == other) << "round " << round << ", " << now.size() << " bytes";
    }
    EXPECT_GT(interrupted, 0);
    // What a killed edit has left behind goes with the next one.
    EXPECT_EQ(StatusOf(set("10.0.0.9")), 0);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.Path()), {}), 1);
}

}  // namespace
