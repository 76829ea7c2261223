#include <gmock/gmock.h>

#include "tools/loopback_server.h"
#include "tools/run_command.h"

namespace {

using Datagram = LoopbackServer::Datagram;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kMac[] = "00-a0-c9-11-22-33";

Datagram ReplyTo(const Datagram& request) {
    Datagram reply = request;
    reply[0] = 2;
    reply[16] = 10;  // yiaddr 10.0.0.17
    reply[19] = 17;
    return reply;
}

Datagram Changed(Datagram datagram, std::size_t at) {
    if (at < datagram.size()) datagram[at] ^= 0xFF;  // a short request has no such byte
    return datagram;
}

std::vector<std::string> AskArguments(const LoopbackServer& server, std::vector<std::string> more = {}) {
    std::vector<std::string> arguments = {"ask", kMac, "--server", "127.0.0.1", "--port", server.Port()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

TEST(AskCommand, ShowsTheReplyToItsOwnRequestAndNoOther) {
    LoopbackServer server([](const Datagram& request) {
        const Datagram reply = ReplyTo(request);
        // An empty one, one without a transaction number, a request, another transaction's, another client's.
        return std::vector<Datagram>{{}, {2, 1, 6}, request, Changed(reply, 7), Changed(reply, 33), reply};
    });
    const CommandResult result = RunQuillonctl(AskArguments(server, {"--dhcp", "discover"}));
    EXPECT_EQ(result.status, 0) << result.errors;
    for (const std::string part : {"10.0.0.17\n", "(DHCPDISCOVER)\n", "from 127.0.0.1:"})
        EXPECT_THAT(result.output, HasSubstr(part));
    const CommandResult brief =
        RunQuillonctl(AskArguments(server, {"--length", "30", "--xid", "0x01020304", "--json"}));
    EXPECT_EQ(brief.status, 0) << brief.errors;
    for (const char* part :
         {R"("length":30,"op":2)", R"("xid":"0x01020304")", R"("optionsEnd":"no option list")"})
        EXPECT_THAT(brief.output, HasSubstr(part));
}

TEST(AskCommand, BindsToTheAddressAndThePortThatItIsGiven) {
    LoopbackServer server([](const Datagram& request) { return std::vector<Datagram>{ReplyTo(request)}; });
    const std::tuple<std::vector<std::string>, int, const char*> rows[] = {
        {{"--bind", "127.0.0.7"}, 0, ""},
        {{"--bind", "192.0.2.77"}, 2, "can't bind to 192.0.2.77"},
        {{"--bind", "127.0.0.1", "--client-port", server.Port()}, 2, "Address already in use"},
        {{"--interface", "no-such-if"}, 2, ""}};
    for (const auto& [more, status, complaint] : rows) {
        const CommandResult result = RunQuillonctl(AskArguments(server, more));
        EXPECT_EQ(result.status, status) << result.errors;
        EXPECT_THAT(result.errors, HasSubstr(complaint));
    }
}

TEST(AskCommand, EndsWith1IfNoReplyComesInTime) {
    LoopbackServer server(
        [](const Datagram& request) { return std::vector<Datagram>{Changed(ReplyTo(request), 4)}; });
    const auto begin = std::chrono::steady_clock::now();
    const CommandResult result = RunQuillonctl(AskArguments(server, {"--timeout", "0.3", "--json"}));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(300));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, IsEmpty());
    EXPECT_THAT(result.errors, HasSubstr("no reply"));
}

TEST(AskCommand, EndsWith2OnWrongUsageAndSendsNothing) {
    std::atomic<int> received = 0;
    LoopbackServer server([&](const Datagram&) {
        ++received;
        return std::vector<Datagram>{};
    });
    const std::vector<std::string> cases[] = {{"--dhcp", "offer"},
                                              {"--server", "nowhere"},
                                              {"--port", "0"},
                                              {"--port", "65536"},
                                              {"--hlen", "256"},
                                              {"--xid", "0x100000000"},
                                              {"--parameter-list", "1,,2"},
                                              {"--length", "0"},
                                              {"--timeout", "0"},
                                              {"--dhcp", "discover", "--length", "240"},
                                              {"--sname", std::string(64, 'x')},
                                              {"--no-such-option"}};
    for (const auto& more : cases) {
        const CommandResult result = RunQuillonctl(AskArguments(server, more));
        EXPECT_EQ(result.status, 2) << more.back();
        EXPECT_THAT(result.errors, testing::Not(IsEmpty())) << more.back();
    }
    EXPECT_EQ(RunQuillonctl({"ask", "00-a0-zz"}).status, 2);
    EXPECT_EQ(RunQuillonctl({"ask"}).status, 2);
    EXPECT_EQ(received, 0);
    EXPECT_THAT(RunQuillonctl({"ask", "--help"}).output, HasSubstr("Examples:"));
}

}  // namespace
