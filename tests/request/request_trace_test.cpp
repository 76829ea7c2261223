#include "request/request_trace.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

class Trace : public testing::Test {
  protected:
    void SetUp() override {
        packet.htype = 1;
        packet.hlen = 6;
        packet.hops = 3;
        std::memcpy(packet.chaddr, "\x00\xa0\x24\x12\x34\x56", 6);
        std::memcpy(packet.xid, "\x01\x02\x03\x04", 4);
        std::memcpy(packet.secs, "\x00\x0a", 2);
        std::strcpy(packet.file, "lab.img");
        context.packet = &packet;
        context.length = 300;
    }
    std::string Format() {
        const int length = FormatTrace(trace, context, text);
        EXPECT_EQ(static_cast<std::size_t>(length), std::strlen(text));
        return text;
    }
    BootPacket packet = {};
    RequestContext context = {};
    RequestTrace trace;
    char text[TraceSize + 1];
};

TEST_F(Trace, OfAServedRequestShowsEveryLine) {
    trace.packetType = "BOOTP";
    trace.opcode = 1;
    trace.decoded = true;
    trace.flags = 128;
    trace.vendorOptions = true;
    trace.cookie = {{99, 130, 83, 99}};
    trace.localAddress = {{10, 0, 0, 1}};
    trace.arpMacText = "00-11-22-33-44-55";
    std::strcpy(trace.serverName, "alpha");
    std::strcpy(trace.date, "11/22/26");
    std::strcpy(trace.time, "20:27:04");
    trace.replied = true;
    trace.foundAddress = {{10, 0, 0, 17}};
    trace.findStatus = "Found in cache";
    trace.replyStatus = "*Default: DD;succeeded   *Status: Reply successfully sent";
    EXPECT_EQ(
        Format(),
        "\r\nPacket Received:\r\n\tPacket type: BOOTP\r\n\tOpcode: 1\r\n\tHardware type: 1\r\n\tHardware "
        "length: 6\r\n"
        "\tHops: 3\r\n\tTransaction ID: 67305985\r\n\tSeconds since booting: 2560\r\n\tFlags field: 128\r\n"
        "\tHardware address: 00-a0-24-12-34-56 MAC used for arp entry: 00-11-22-33-44-55\r\n\tClient's "
        "address inbound (YIADDR): 0.0.0.0\r\n"
        "\tServer address (SIADDR): 0.0.0.0\r\n\tGateway address: 0.0.0.0\r\n\tServer name: alpha\r\n"
        "\tBootfile specified by client: lab.img\r\n\tMagic cookie specified by client: 99.130.83.99\r\n"
        "\tVendor options present: TRUE\r\n\tTotal inbound packet length: 300\r\n"
        "\tPacket received on local address: 10.0.0.1\r\n\tDate: 11/22/26\r\n\tTime: 20:27:04\r\n"
        "\tFind status: Found in cache\r\n\tClient's found address: 10.0.0.17\r\n"
        "\tReply status: *Default: DD;succeeded   *Status: Reply successfully sent\r\n");
}

TEST_F(Trace, OfAWrongOpcodeHasOnlyTheBytesAndTheDefaults) {
    trace.opcode = 2;
    trace.findStatus = "Invalid opcode";
    EXPECT_EQ(
        Format(),
        "\r\nPacket Received:\r\n\tPacket type: Not available\r\n\tOpcode: 2\r\n\tHardware type: 1\r\n"
        "\tHardware length: 6\r\n\tHops: 3\r\n\tTransaction ID: 67305985\r\n\tSeconds since booting: 2560\r\n"
        "\tFlags field: 0\r\n\tHardware address: \r\n\tClient's address inbound (YIADDR): \r\n"
        "\tServer address (SIADDR): \r\n\tGateway address: Not available\r\n\tServer name: \r\n"
        "\tBootfile specified by client: lab.img\r\n\tMagic cookie specified by client: Not available\r\n"
        "\tVendor options present: \r\n\tTotal inbound packet length: 300\r\n"
        "\tPacket received on local address: \r\n\tDate: \r\n\tTime: \r\n\tFind status: Invalid opcode\r\n"
        "\tClient's found address: Not available\r\n\tReply status: No reply sent\r\n");
}

TEST_F(Trace, ShowsControlCharactersOfTheNetworkEscaped) {
    trace.decoded = true;
    std::strcpy(trace.serverName, "a\r\nPacket Received:\x1b[2J");
    std::strcpy(packet.file, "\x01\\x\x7f\x9b~ \xc3\xbc");
    const std::string block = Format();
    EXPECT_NE(block.find("\tServer name: a\\x0d\\x0aPacket Received:\\x1b[2J\r\n"), std::string::npos);
    EXPECT_NE(block.find("client: \\x01\\x\\x7f\\x9b~ \xc3\xbc\r\n"), std::string::npos) << block;
    std::memset(packet.file, '\n', sizeof packet.file);
    std::memset(trace.serverName, '\r', sizeof packet.sname);
    EXPECT_EQ(Format().size(), TraceSize) << "what is escaped doesn't go beyond the block";
}

TEST_F(Trace, IsCutAtItsLimitAndFieldsWithoutANulAtTheirEnd) {
    std::memset(packet.file, 'f', sizeof packet.file);
    std::memset(trace.serverName, 's', sizeof packet.sname);
    const std::string media(99, 'm');
    trace.arpMacText = media.c_str();
    std::memset(packet.xid, 0xFF, 4);
    trace.decoded = trace.replied = true;
    trace.findStatus = "Error in client's database configuration. Check the event log.";
    const std::string status(200, 'r');
    trace.replyStatus = status.c_str();
    const std::string formatted = Format();
    EXPECT_EQ(formatted.size(), TraceSize);
    EXPECT_NE(formatted.find("Transaction ID: -1\r\n"), std::string::npos);
    EXPECT_NE(formatted.find(std::string(128, 'f') + "\r\n"), std::string::npos);
}

}  // namespace
