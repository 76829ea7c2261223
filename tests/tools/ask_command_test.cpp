#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>

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
    datagram[at] ^= 0xFF;
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
        return std::vector<Datagram>{{},                  // an empty datagram
                                     {2, 1, 6},           // too short for a transaction number
                                     request,             // a request
                                     Changed(reply, 7),   // another transaction
                                     Changed(reply, 33),  // another client
                                     Changed(reply, 19) /* the one */};
    });
    const CommandResult result = RunQuillonctl(AskArguments(server, {"--dhcp", "discover"}));
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("yiaddr                  10.0.0.238\n"));
    EXPECT_THAT(result.output, HasSubstr("(DHCPDISCOVER)\n"));
    EXPECT_THAT(result.output, HasSubstr("from 127.0.0.1:" + server.Port()));
}

TEST(AskCommand, AcceptsAReplyThatIsAsShortAsItsRequest) {
    LoopbackServer server([](const Datagram& request) { return std::vector<Datagram>{ReplyTo(request)}; });
    const CommandResult result =
        RunQuillonctl(AskArguments(server, {"--length", "30", "--xid", "0x01020304", "--json"}));
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr(R"("length":30,"op":2)"));
    EXPECT_THAT(result.output, HasSubstr(R"("xid":"0x01020304")"));
    EXPECT_THAT(result.output, HasSubstr(R"("optionsEnd":"no option list")"));
}

TEST(AskCommand, BindsToTheAddressAndThePortThatItIsGiven) {
    LoopbackServer server([](const Datagram& request) { return std::vector<Datagram>{ReplyTo(request)}; });
    EXPECT_EQ(RunQuillonctl(AskArguments(server, {"--bind", "127.0.0.7"})).status, 0);
    const CommandResult foreign = RunQuillonctl(AskArguments(server, {"--bind", "192.0.2.77"}));
    EXPECT_EQ(foreign.status, 2);
    EXPECT_THAT(foreign.errors, HasSubstr("can't bind to 192.0.2.77"));
    const CommandResult taken =
        RunQuillonctl(AskArguments(server, {"--bind", "127.0.0.1", "--client-port", server.Port()}));
    EXPECT_EQ(taken.status, 2);
    EXPECT_THAT(taken.errors, HasSubstr("Address already in use"));
    EXPECT_EQ(RunQuillonctl(AskArguments(server, {"--interface", "no-such-if"})).status, 2);
}

TEST(AskCommand, EndsWith1IfNoReplyComesInTime) {
    LoopbackServer server(
        [](const Datagram& request) { return std::vector<Datagram>{Changed(ReplyTo(request), 4)}; });
    const auto begin = std::chrono::steady_clock::now();
    const CommandResult result = RunQuillonctl(AskArguments(server, {"--timeout", "0.3", "--json"}));
    const auto taken = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, IsEmpty());
    EXPECT_THAT(result.errors, HasSubstr("no reply"));
    EXPECT_GE(taken, std::chrono::milliseconds(300));
    EXPECT_LT(taken, std::chrono::seconds(5));
}

TEST(AskCommand, EndsWith2OnWrongUsageAndSendsNothing) {
    std::atomic<int> received = 0;
    LoopbackServer server([&](const Datagram&) {
        ++received;
        return std::vector<Datagram>{};
    });
    const std::vector<std::vector<std::string>> cases = {
        {"--dhcp", "offer"},
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
        {"--no-such-option"},
    };
    for (const auto& more : cases) {
        const CommandResult result = RunQuillonctl(AskArguments(server, more));
        EXPECT_EQ(result.status, 2) << more.back();
        EXPECT_THAT(result.errors, testing::Not(IsEmpty())) << more.back();
    }
    EXPECT_EQ(RunQuillonctl({"ask", "00-a0-zz"}).status, 2);
    EXPECT_EQ(RunQuillonctl({"ask"}).status, 2);
    EXPECT_EQ(RunQuillonctl({}).status, 2);
    EXPECT_EQ(received, 0);
    const CommandResult help = RunQuillonctl({"ask", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.output, HasSubstr("Examples:"));
}

}  // namespace
