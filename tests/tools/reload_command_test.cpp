#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <mutex>

#include "quillonctl/local_addresses.h"
#include "service/temporary_home.h"
#include "temporary_folder.h"
#include "tools/json_syntax.h"
#include "tools/loopback_server.h"
#include "tools/run_command.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Datagram = LoopbackServer::Datagram;

Datagram Bytes(const std::string& text) {
    return {text.begin(), text.end()};
}
const Datagram Ack = Bytes(std::string("RELOAD ACK", 11));
const Datagram Nack = Bytes(std::string("RELOAD NACK", 12));

class ReloadCommandTest : public testing::Test {
  protected:
    CommandResult Reload(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "reload");
        return RunQuillonctl(arguments, {"QUILLON_HOME=" + home_.Path()});
    }
    void Append(const std::string& file, const std::string& text) const {
        std::ofstream(home_.Path(file), std::ios::app) << text;
    }

    const TemporaryFolder home_;
};

TEST_F(ReloadCommandTest, SendsTheRequestOnceAndTellsTheAcknowledgement) {
    std::mutex lock;
    std::vector<Datagram> received;
    {
        LoopbackServer server([&](const Datagram& request) {
            const std::lock_guard guard(lock);
            received.push_back(request);
            // What comes first is no answer, each for its own reason.
            return std::vector<Datagram>{
                Bytes("RELOAD ACK"), {}, Bytes("RELOAD"), Bytes(std::string("reload ack", 11)), Ack};
        });
        const CommandResult result = Reload({"127.0.0.1", "--port", server.Port()});
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(result.output, "Reload acknowledged by 127.0.0.1:" + server.Port() + "\n");
    }
    EXPECT_THAT(received, ElementsAre(Bytes(std::string("RELOAD REQ", 11))));
}

TEST_F(ReloadCommandTest, ShowsTheEventsOfARefusal) {
    Append("events.log", "2026-11-22T20:27:03 error 0xC0000007 Quillon: an old one\n");
    LoopbackServer server([&](const Datagram&) {
        Append("events.log", "2026-11-22T20:27:04 error 0xC0000007 Quillon: the database is missing\n");
        return std::vector<Datagram>{Nack};
    });
    const CommandResult text = Reload({"127.0.0.1", "--port", server.Port()});
    EXPECT_EQ(text.status, 1);
    EXPECT_THAT(text.output,
                AllOf(HasSubstr("refused by 127.0.0.1:" + server.Port()), HasSubstr("is missing\n")));
    EXPECT_THAT(text.output, Not(HasSubstr("an old one")));
    const CommandResult json = Reload({"127.0.0.1", "--port", server.Port(), "--json"});
    EXPECT_EQ(json.status, 1);
    EXPECT_TRUE(JsonSyntax::IsValid(json.output)) << json.output;
    EXPECT_THAT(json.output, AllOf(HasSubstr(R"({"answer":"NACK",)"), HasSubstr("the database is missing")));
}

// The journal stands in a file, each line with its time, and the command shows what is asked for.
TEST_F(ReloadCommandTest, AsksTheJournalWhereThereIsNoHome) {
    Append("journalctl",
           "#!/bin/sh\necho \"the journal says: $*\"\nsince=${4#--since=@}\n"
           "awk -v since=\"$since\" '$1 >= since' \"$(dirname \"$0\")/journal\"\n");
    ::chmod(home_.Path("journalctl").c_str(), 0755);
    const auto report = [this](const std::string& text) {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
        const std::string fraction = std::to_string(1000000 + microseconds % 1000000).substr(1);
        Append("journal", std::to_string(microseconds / 1000000) + "." + fraction + " " + text + "\n");
    };
    LoopbackServer server([&](const Datagram&) {
        report("the new reason");
        return std::vector<Datagram>{Nack};
    });
    report("the old reason");
    const CommandResult result = RunQuillonctl({"reload", "127.0.0.1", "--port", server.Port()},
                                               {"QUILLON_HOME=", "PATH=" + home_.Path() + ":/usr/bin:/bin"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("the journal says: --identifier=Quillon --quiet --no-pager"));
    EXPECT_THAT(result.output, HasSubstr("the new reason"));
    EXPECT_THAT(result.output, Not(HasSubstr("the old reason")));
}

TEST_F(ReloadCommandTest, ChecksTheFilesBeforeItAsks) {
    const TemporaryHome home;
    home.WriteRegistry();
    int asked = 0;
    LoopbackServer server([&](const Datagram&) {
        ++asked;
        return std::vector<Datagram>{Ack};
    });
    home.Write("services", "bootp " + server.Port() + "/udp\n");
    const std::string options = "[Options]\nIP Address=-2,ipaddress\n[00-a0-24-12-34-56]\nIP Address=10.0.0.";
    const struct {
        std::string client;
        int status;
        const char* said;
    } cases[] = {{"400\n", 1, "bootptab:4: error: IP Address: '10.0.0.400' is no address"},
                 {"4\n[stray]\n", 1, "bootptab:5: error: the load is refused"},
                 {"4\nHost Nam=x\n", 0, "bootptab:5: warning: "},
                 {"4\n", 0, ""}};
    for (const auto& [client, status, said] : cases) {
        asked = 0;
        home.Write("bootptab", options + client);
        const CommandResult result = RunQuillonctl({"reload", "--check"});
        EXPECT_EQ(result.status, status) << result.output << result.errors;
        EXPECT_THAT(result.errors, HasSubstr(said));
        EXPECT_EQ(asked, status == 0 ? 1 : 0) << client;
    }
}

TEST_F(ReloadCommandTest, FindsTheServiceOfTheHome) {
    LoopbackServer server([&](const Datagram&) { return std::vector<Datagram>{Ack}; });
    Append("services", "bootp " + server.Port() + "/udp\n");
    // No one listens on the address that the parameters name.
    Append("registry.reg",
           "Windows Registry Editor Version 5.00\n\n"
           "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Quillon\\Parameters]\n"
           "\"LocalAddrs\"=\"127.0.0.9\"\n");
    const CommandResult result = Reload({});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("127.0.0.1:" + server.Port()));
    EXPECT_EQ(Reload({"127.0.0.9"}).status, 3);
}

TEST_F(ReloadCommandTest, TellsSilenceFromAbsence) {
    std::string port;
    {
        LoopbackServer silent([](const Datagram&) { return std::vector<Datagram>{}; });
        port = silent.Port();
        EXPECT_THAT(Reload({"--port", port, "--timeout", "0.3"}).errors, HasSubstr("doesn't answer"));
    }
    const CommandResult result = Reload({"--port", port});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.errors, HasSubstr("no service listens on port " + port));
    EXPECT_EQ(Reload({"nowhere"}).status, 2);
}

TEST(LocalAddresses, ReadsTheListAsTheServiceDoes) {
    const IpAddress first{{10, 0, 0, 1}}, second{{10, 0, 0, 2}};
    const std::pair<const char*, std::vector<IpAddress>> rows[] = {
        {"10.0.0.1,bad,10.0.0.2", {first, second}}, {"10.0.0.1,,10.0.0.2", {first}}, {",10.0.0.2", {}}};
    for (const auto& [list, addresses] : rows)
        EXPECT_EQ(quillonctl::ParseLocalAddrs(list), addresses) << list;
    EXPECT_THAT(quillonctl::LocalServiceAddresses(), testing::Contains(IpAddress{{127, 0, 0, 1}}));
}

}  // namespace
