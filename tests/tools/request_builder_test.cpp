#include "quillonctl/request_builder.h"

#include <gtest/gtest.h>

#include <cstring>

#include "quillonctl/option_table.h"

namespace quillonctl {
namespace {

using ByteVector = std::vector<std::uint8_t>;

RequestSettings Client() {
    RequestSettings settings;
    settings.hardwareAddress = {0x00, 0xA0, 0xC9, 0x11, 0x22, 0x33};
    settings.xid = 0x12345678;
    return settings;
}

TEST(RequestBuilder, BuildsADhcpRequestThroughARelay) {
    RequestSettings settings = Client();
    settings.secs = 0x0102;
    settings.broadcast = true;
    settings.ciaddr = {{10, 0, 0, 17}};
    settings.giaddr = {{10, 0, 7, 1}};
    settings.sname = "alpha";
    settings.file = "linux";
    settings.messageType = 3;
    settings.requestedAddress = IpAddress{{10, 0, 0, 17}};
    settings.serverIdentifier = IpAddress{{10, 0, 0, 1}};
    settings.parameterList = {1, 3, 6};
    std::string error;
    const auto request = BuildRequest(settings, error);
    ASSERT_TRUE(request) << error;

    ByteVector expected = {
        0x01, 0x01, 0x06, 0x01,              // op, htype, hlen, hops: one relay
        0x12, 0x34, 0x56, 0x78,              // xid
        0x01, 0x02, 0x80, 0x00,              // secs, flags
        10,   0,    0,    17,                // ciaddr
        0,    0,    0,    0,                 // yiaddr
        0,    0,    0,    0,                 // siaddr
        10,   0,    7,    1,                 // giaddr
        0x00, 0xA0, 0xC9, 0x11, 0x22, 0x33,  // chaddr
    };
    expected.resize(300);
    std::memcpy(&expected[44], "alpha", 5);
    std::memcpy(&expected[108], "linux", 5);
    const ByteVector vendorArea = {
        0x63, 0x82, 0x53, 0x63,         // cookie
        53,   1,    3,                  // REQUEST
        50,   4,    10,   0,    0, 17,  // requested address
        54,   4,    10,   0,    0, 1,   // server identifier
        55,   3,    1,    3,    6,      // parameter list
        255,                            // end
    };
    std::ranges::copy(vendorArea, expected.begin() + 236);
    EXPECT_EQ(*request, expected);
}

TEST(RequestBuilder, ObeysTheLengthAsFarAsTheOptionsLetIt) {
    const struct {
        std::size_t length;
        bool dhcp;
        std::size_t codes;
        std::size_t result;  // 0: refused
    } cases[] = {{0, false, 0, 300},     {0, true, 0, 300},       {0, true, 255, 240 + 3 + 257 + 1},
                 {1, false, 0, 1},       {236, false, 0, 236},    {240, false, 0, 240},
                 {1500, false, 0, 1500}, {65507, true, 3, 65507}, {65508, false, 0, 0},
                 {244, true, 0, 244},    {243, true, 0, 0},       {300, true, 255, 0}};
    for (const auto& expected : cases) {
        RequestSettings settings = Client();
        settings.length = expected.length;
        if (expected.dhcp) settings.messageType = 1;
        settings.parameterList.assign(expected.codes, 1);
        std::string error;
        const auto request = BuildRequest(settings, error);
        EXPECT_EQ(request ? request->size() : 0, expected.result) << expected.length << " " << expected.codes;
        EXPECT_EQ(error.empty(), expected.result != 0) << error;
    }
}

TEST(RequestBuilder, RefusesTextsThatDontFit) {
    std::string error;
    for (const std::size_t size : {63u, 64u}) {
        RequestSettings sname = Client(), file = Client();
        sname.sname.assign(size, 'x');
        file.file.assign(size * 2, 'x');
        for (const RequestSettings& settings : {sname, file})
            EXPECT_EQ(BuildRequest(settings, error).has_value(), size < 64);
    }
}

TEST(RequestBuilder, ReadsHardwareAddresses) {
    const ByteVector usual = {0x00, 0xA0, 0xC9, 0x11, 0x22, 0x33};
    for (const char* text : {"00-a0-c9-11-22-33", "00:A0:C9:11:22:33", "00a0c9112233", "00a0.c911.2233"})
        EXPECT_EQ(ParseHardwareAddress(text), usual) << text;
    EXPECT_EQ(ParseHardwareAddress("7f"), ByteVector{0x7F});
    EXPECT_EQ(ParseHardwareAddress(std::string(32, 'f')), ByteVector(16, 0xFF));
    for (const char* text : {"", "0", "0-1", "00-", "-00", "00--11", "zz", "+1", "00-a0-", "00 a0"})
        EXPECT_FALSE(ParseHardwareAddress(text)) << text;
    EXPECT_FALSE(ParseHardwareAddress(std::string(34, 'f')));
}

TEST(RequestBuilder, ReadsAddressesCodesAndTypes) {
    EXPECT_EQ(ParseAddress("10.0.0.1"), (IpAddress{{10, 0, 0, 1}}));
    for (const char* text : {"", "10.0.0", "10.0.0.256", "10.0.0.1 ", "::1", "localhost"})
        EXPECT_FALSE(ParseAddress(text)) << text;
    EXPECT_EQ(ParseCodes("1,3,255"), (ByteVector{1, 3, 255}));
    std::string many = "1";
    for (int count = 1; count < 255; ++count)
        many += ",1";
    EXPECT_EQ(ParseCodes(many), ByteVector(255, 1));
    for (const std::string& text : {std::string(), std::string("1,"), std::string(",1"), std::string("256"),
                                    std::string("-1"), std::string("1, 2"), many + ",1"})
        EXPECT_FALSE(ParseCodes(text)) << text;
    EXPECT_EQ(ParseMessageType("discover"), 1);
    EXPECT_EQ(ParseMessageType("inform"), 8);
    EXPECT_FALSE(ParseMessageType("offer"));
}

TEST(OptionTable, FindsEveryCodeThatHasARowAndNoOther) {
    int named = 0;
    for (int code = 0; code < 256; ++code) {
        const OptionRow* row = FindOption(static_cast<std::uint8_t>(code));
        if (row == nullptr) continue;
        ++named;
        EXPECT_EQ(row->code, code);
    }
    EXPECT_EQ(named, 86);  // 1 to 76 of RFC 2132, and ten later ones
    EXPECT_STREQ(FindOption(76)->name, "streettalk-directory-assistance-servers");
    EXPECT_EQ(FindOption(0), nullptr);
    EXPECT_EQ(FindOption(255), nullptr);
}

}  // namespace
}  // namespace quillonctl
