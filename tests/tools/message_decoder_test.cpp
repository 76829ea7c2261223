#include "quillonctl/message_decoder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "quillonctl/json_writer.h"
#include "quillonctl/message_printer.h"
#include "tools/json_syntax.h"

namespace quillonctl {
namespace {

using testing::HasSubstr;

// The fixed part of a reply with the usual cookie, and `options` behind it.
std::vector<std::uint8_t> ReplyWith(const std::vector<std::uint8_t>& options) {
    std::vector<std::uint8_t> reply = {
        0x02, 0x01, 0x06, 0x01,  // op, htype, hlen, hops
        0x12, 0x34, 0x56, 0x78,  // xid
        0x00, 0x05, 0x80, 0x00,  // secs 5, flags: broadcast
        0,    0,    0,    0,    10,   0,    0, 17,
        10,   0,    0,    1,    10,   0,    7, 1,  // ciaddr, yiaddr, siaddr, giaddr
        0x00, 0xA0, 0xC9, 0x11, 0x22, 0x33,        // chaddr
    };
    reply.resize(sizeof(BootPacket));
    std::memcpy(&reply[offsetof(BootPacket, sname)], "alpha", 5);
    std::memset(&reply[offsetof(BootPacket, file)], 'f', 128);  // a file name without a NUL
    const std::uint8_t cookie[] = {0x63, 0x82, 0x53, 0x63};
    std::memcpy(&reply[236], cookie, sizeof cookie);
    reply.insert(reply.end(), options.begin(), options.end());
    return reply;
}

TEST(MessageDecoder, TakesTheFixedPartApart) {
    const std::string text = MessageText(DecodeMessage(ReplyWith({0xFF})), "10.0.0.1:67");
    EXPECT_THAT(text, testing::StartsWith("Reply of 241 bytes from 10.0.0.1:67\n"));
    const std::pair<std::string, std::string> lines[] = {
        {"op", "2 (BOOTREPLY)"},         {"hops", "1"},
        {"xid", "0x12345678"},           {"secs", "5"},
        {"flags", "0x8000 (broadcast)"}, {"yiaddr", "10.0.0.17"},
        {"siaddr", "10.0.0.1"},          {"giaddr", "10.0.7.1"},
        {"chaddr", "00-a0-c9-11-22-33"}, {"sname", "alpha"},
        {"file", std::string(128, 'f')}, {"cookie", "99.130.83.99"},
        {"options", "end mark"}};
    for (const auto& [name, value] : lines)
        EXPECT_THAT(text, HasSubstr("\n" + name + std::string(24 - name.size(), ' ') + value + "\n"));
}

TEST(MessageDecoder, ReadsEachTypeOfValue) {
    const struct {
        std::vector<std::uint8_t> option;
        std::string name;
        std::vector<std::string> values;
        std::string remark;
    } cases[] = {{{1, 4, 255, 255, 255, 0}, "subnet-mask", {"255.255.255.0"}, ""},
                 {{2, 4, 0xFF, 0xFF, 0xF1, 0xF0}, "time-offset", {"-3600"}, ""},
                 {{3, 8, 10, 0, 0, 254, 10, 0, 0, 253}, "routers", {"10.0.0.254", "10.0.0.253"}, ""},
                 {{12, 5, 'p', 'c', '1', '7', 0}, "host-name", {"pc17"}, ""},
                 {{19, 1, 1}, "ip-forwarding", {"1"}, ""},
                 {{25, 4, 0, 68, 0x05, 0xDC}, "path-mtu-plateau-table", {"68", "1500"}, ""},
                 {{26, 2, 0x05, 0xDC}, "interface-mtu", {"1500"}, ""},
                 {{33, 8, 10, 1, 0, 0, 10, 0, 0, 254}, "static-routes", {"10.1.0.0 10.0.0.254"}, ""},
                 {{43, 3, 1, 2, 0xAB}, "vendor-specific-information", {"0102ab"}, ""},
                 {{51, 4, 0, 0, 0x0E, 0x10}, "lease-time", {"3600"}, ""},
                 {{53, 1, 6}, "message-type", {"6"}, "DHCPNAK"},
                 {{53, 1, 99}, "message-type", {"99"}, "unknown message type"},
                 {{55, 3, 1, 3, 6}, "parameter-request-list", {"1", "3", "6"}, ""},
                 {{200, 2, 0xDE, 0xAD}, "", {"dead"}, ""},
                 {{1, 3, 255, 255, 255}, "subnet-mask", {"ffffff"}, "wrong length 3"},
                 {{3, 5, 10, 0, 0, 254, 9}, "routers", {"0a0000fe09"}, "wrong length 5"},
                 {{51, 0}, "lease-time", {""}, "wrong length 0"}};
    for (const auto& expected : cases) {
        SCOPED_TRACE(expected.name + " " + HexText(expected.option));
        auto options = expected.option;
        options.push_back(0xFF);
        const DecodedMessage message = DecodeMessage(ReplyWith(options));
        ASSERT_EQ(message.options.size(), 1u);
        const DecodedOption& option = message.options.front();
        EXPECT_EQ(option.code, expected.option[0]);
        EXPECT_EQ(option.name != nullptr ? option.name : "", expected.name);
        EXPECT_EQ(option.values, expected.values);
        EXPECT_EQ(option.remark, expected.remark);
        EXPECT_EQ(message.end, ListEnd::EndMark);
    }
}

TEST(MessageDecoder, TellsHowTheListEnds) {
    const std::tuple<std::vector<std::uint8_t>, ListEnd, std::size_t> cases[] = {
        {{0, 0, 53, 1, 2, 0, 0xFF}, ListEnd::EndMark, 1},
        {{0xFF, 53, 1, 2}, ListEnd::EndMark, 0},
        {{53, 1, 2}, ListEnd::Missing, 1},
        {{0, 0, 0}, ListEnd::Missing, 0},
        {{53, 1, 2, 12}, ListEnd::CutShort, 1},
        {{12, 4, 'p', 'c', '1'}, ListEnd::CutShort, 0},
        {{12, 3, 'p', 'c', '1'}, ListEnd::Missing, 1}};
    for (const auto& [options, end, count] : cases) {
        SCOPED_TRACE(HexText(options));
        auto reply = ReplyWith(options);
        EXPECT_EQ(DecodeMessage(reply).end, end);
        EXPECT_EQ(DecodeMessage(reply).options.size(), count);
        reply[236] = 0x64;
        EXPECT_EQ(DecodeMessage(reply).end, ListEnd::NoCookie);
        EXPECT_TRUE(DecodeMessage(reply).options.empty());
    }
}

TEST(MessageDecoder, SurvivesAnyBytes) {
    std::mt19937 random(20261122);
    for (std::size_t round = 0; round < 2000; ++round) {
        auto noise = ReplyWith(std::vector<std::uint8_t>(random() % 80));
        for (std::size_t at = sizeof(BootPacket); at < noise.size(); ++at)
            noise[at] = static_cast<std::uint8_t>(random());
        noise[2] = static_cast<std::uint8_t>(random());  // hlen
        // The allocation is exactly as large as the message, so that a sanitizer sees any read behind it.
        const std::vector<std::uint8_t> message(noise.begin(), noise.begin() + std::min(round, noise.size()));
        const DecodedMessage decoded = DecodeMessage(message);
        EXPECT_EQ(decoded.length, message.size());
        EXPECT_FALSE(MessageText(decoded, "").empty());
        EXPECT_TRUE(JsonSyntax::IsValid(MessageJson(decoded, "", message)));
    }
}

TEST(MessagePrinter, LetsNothingThroughThatATerminalActsOn) {
    auto reply = ReplyWith({12, 4, 0x1B, '[', '2', 'J', 0xFF});
    reply[offsetof(BootPacket, sname)] = '\n';
    EXPECT_THAT(MessageText(DecodeMessage(reply), ""), AllOf(HasSubstr("\\x1b[2J"), HasSubstr("\\x0alpha")));
}

TEST(MessagePrinter, WritesJson) {
    const auto reply =
        ReplyWith({53, 1, 2, 3, 8, 10, 0, 0, 254, 10, 0, 0, 253, 12, 3, '"', '\\', 0xE9, 0xFF});
    const std::string json = MessageJson(DecodeMessage(reply), "10.0.0.1:67", reply);
    EXPECT_EQ(
        json.substr(0, json.find("\"sname\"")),
        R"({"from":"10.0.0.1:67","length":259,"op":2,"htype":1,"hlen":6,"hops":1,"xid":"0x12345678","secs":5,)"
        R"("flags":"0x8000","broadcast":true,"ciaddr":"0.0.0.0","yiaddr":"10.0.0.17","siaddr":"10.0.0.1",)"
        R"("giaddr":"10.0.7.1","chaddr":"00-a0-c9-11-22-33",)");
    EXPECT_THAT(
        json,
        HasSubstr(
            R"("options":[{"code":53,"name":"message-type","length":1,"value":2,"remark":"DHCPOFFER","hex":"02"},)"
            R"({"code":3,"name":"routers","length":8,"value":["10.0.0.254","10.0.0.253"],"hex":"0a0000fe0a0000fd"},)"
            R"({"code":12,"name":"host-name","length":3,"value":"\"\\\u00e9","hex":"225ce9"}],"optionsEnd":"end mark",)"
            R"("raw":"02010601)"));
}

TEST(JsonWriter, EscapesEveryByteThatNeedsIt) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    const std::string text = JsonWriter().String(all).Text();
    EXPECT_TRUE(JsonSyntax::IsValid(text));
    for (const char* part :
         {R"("\u0000\u0001)", R"(\u001f !\"#$)", R"([\\]^)", R"(~\u007f\u0080)", "\\u00ff\""})
        EXPECT_THAT(text, HasSubstr(part));
    EXPECT_EQ(JsonWriter().BeginArray().Number(-1).BeginObject().Key("a").Boolean(false).End().End().Text(),
              R"([-1,{"a":false}])");
}

}  // namespace
}  // namespace quillonctl
