#include "database/lookup/vendor_area.h"

#include "database/database_result.h"
#include "database/lookup/option_list.h"
#include "database_fixture.h"

namespace {

const Bytes ExampleTemplate = {1, 4,  255, 255, 255, 0,  51, 4,   0,   0,   0x0E, 0x10, 3,
                               4, 10, 0,   0,   254, 12, 4,  'p', 'c', '1', '7',  255};

Bytes Join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Bytes Header(BYTE type) {
    return {53, 1, type, 54, 4, 10, 0, 0, 1};
}

class DhcpReplyTest : public DatabaseTest {
  protected:
    DhcpReplyTest() {
        WriteBootptab(ExampleBootptab);
        DWORD status = 0;
        entry = Build({ExampleAddress, ExampleAddress + 6}, &status);
    }

    bool Compose(Datagram* datagram) {
        return ComposeDhcpReply(datagram->Packet(), datagram->End(), entry, TestServer);
    }

    Datagram Request(const Bytes& options, std::size_t length = 300) {
        return Datagram(length, {ExampleAddress, ExampleAddress + 6}, options);
    }

    ClientEntry* entry = nullptr;
};

TEST_F(DhcpReplyTest, Fitting) {
    const std::tuple<Bytes, std::size_t, VendorFit> cases[] = {
        {{53, 1, 1, 255}, 300, VendorFit::DhcpShaped},
        {{0, 0, 53, 1, 1}, 300, VendorFit::DhcpShaped},
        {{12, 1, 53, 53, 1, 1}, 300, VendorFit::DhcpShaped},
        {{53}, 241, VendorFit::DhcpShaped},
        {{255, 53, 1, 1}, 300, VendorFit::PlainBootp},
        {{12, 1, 53, 255}, 300, VendorFit::PlainBootp},
        {{12, 200, 1, 53, 1, 1}, 300, VendorFit::PlainBootp},
        {{12}, 241, VendorFit::PlainBootp},
        {{}, 300, VendorFit::PlainBootp},
        {{}, 256, VendorFit::PlainBootp},
        {{}, 240, VendorFit::PlainBootp},
        {{}, 239, VendorFit::DhcpShaped},
        {{}, 28, VendorFit::DhcpShaped}};
    for (const auto& [options, length, fit] : cases) {
        Datagram datagram = Request(options, length);
        const Bytes before = datagram.block;
        EXPECT_EQ(FitVendorOptions(Options(datagram.Packet()), datagram.End(), entry), fit);
        if (fit == VendorFit::DhcpShaped) {
            EXPECT_EQ(datagram.block, before);
            const bool isAnswered = length > 242;
            EXPECT_EQ(Compose(&datagram), isAnswered) << length;
        } else {
            Bytes area = ExampleTemplate;
            area.resize(60);
            area.resize(length - 240);
            EXPECT_EQ(datagram.Range(240, length), area);
        }
    }
    // Behind the template's capacity the reply keeps what the request had.
    Datagram datagram = Request(Bytes(100, 255), 340);
    EXPECT_EQ(FitVendorOptions(Options(datagram.Packet()), datagram.End(), entry), VendorFit::PlainBootp);
    EXPECT_EQ(datagram.Range(264, 302), Join({{255}, Bytes(35, 0), {255, 255}}));
}

TEST_F(DhcpReplyTest, AnswersByMessageType) {
    const Bytes lead = {51, 4, 0, 0, 0x0E, 0x10, 1, 4, 255, 255, 255, 0};
    const Bytes offer = Join({Header(2), ExampleTemplate});
    const Bytes ack = Join({Header(5), ExampleTemplate});
    const Bytes selected = Join({Header(5), lead, {3, 4, 10, 0, 0, 254, 12, 4, 'p', 'c', '1', '7', 255}});
    const Bytes leading = Join({Header(5), lead, {255}});
    const Bytes behind(3, 0xEE);  // the end mark stays what the request had
    Bytes every = {53, 1, 3, 55, 255};
    for (int code = 255; code > 0; --code)
        every.push_back(static_cast<BYTE>(code));
    const Bytes downward = Join({Header(5), lead, {12, 4, 'p', 'c', '1', '7', 3, 4, 10, 0, 0, 254, 255}});
    const Bytes refused = {};
    const struct {
        Bytes options;
        Bytes reply;  // the beginning of the vendor area; empty if there is none
    } cases[] = {
        {{53, 1, 1, 255}, offer},
        {{0, 53, 9, 1, 255}, offer},  // the length byte doesn't count
        {{53, 1, 3, 255}, ack},
        {Join({{53, 1, 3, 55, 4, 1, 3, 12, 6, 255}, Bytes(50, 0xEE)}), Join({selected, behind})},
        {every, downward},
        {{53, 1, 3, 0, 55, 6, 3, 58, 3, 12, 12, 51, 255}, selected},
        {{53, 1, 3, 55, 2, 255, 0, 255}, leading},
        {{53, 1, 3, 54, 4, 10, 0, 0, 1, 255}, ack},
        {{53, 1, 3, 0, 54, 4, 10, 0, 0, 2, 255}, refused},
        {{53, 1, 3, 50, 4, 10, 0, 0, 17, 55, 0, 255}, leading},
        {{53, 1, 3, 0, 50, 4, 10, 0, 0, 99, 55, 0, 255}, {53, 1, 6, 0, 50, 4, 10, 0, 0, 99, 55, 0, 255}},
        {{50, 4, 10, 0, 0, 99, 53, 1, 3, 255}, {50, 4, 10, 0, 0, 99, 53, 1, 6, 255}},
        {{53, 1, 4, 12, 1, 'x', 255}, {53, 1, 4, 12, 1, 'x', 255}},
        {{53, 1, 7, 255}, {53, 1, 7, 255}},
        {{53, 1, 0, 255}, refused},
        {{53, 1, 6, 255}, refused},
        {{53, 1, 8, 255}, refused},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(::testing::PrintToString(expected.options));
        Datagram datagram = Request(expected.options, 600);
        EXPECT_EQ(Compose(&datagram), !expected.reply.empty());
        EXPECT_EQ(datagram.Range(240, 240 + expected.reply.size()), expected.reply);
    }
}

TEST_F(DhcpReplyTest, TheLeadingOptionsHaveAnOrderOfTheirOwn) {
    WriteBootptab(
        "[Options]\nA=1,byte\nB=51,byte\nC=59,byte\nD=58,byte\nE=3,byte\n[00-01]\nA=1\nB=2\nC=3\nD=4\nE=5\n");
    DWORD status = 0;
    entry = Build({0, 1}, &status);
    Datagram datagram = Request({53, 1, 3, 55, 2, 1, 3, 255});
    ASSERT_TRUE(Compose(&datagram));
    const Bytes expected = Join({Header(5), {58, 1, 4, 59, 1, 3, 51, 1, 2, 1, 1, 1, 3, 1, 5, 255}});
    EXPECT_EQ(datagram.Range(240, 240 + expected.size()), expected);
}

TEST_F(DhcpReplyTest, RepliesAreCutAtTheEnd) {
    const Bytes lead = {51, 4, 0, 0, 0x0E, 0x10, 1, 4, 255, 255, 255, 0};
    const std::pair<Bytes, Bytes> cases[] = {
        {{53, 1, 1}, Join({Header(2), ExampleTemplate, Bytes(35, 0)})},
        {{55, 1, 3, 53, 1, 3}, Join({Header(5), lead, {3, 4, 10, 0, 0, 254, 255}, Bytes(20, 0)})}};
    for (const auto& [asked, whole] : cases) {
        for (std::size_t room = asked.size(); room < 40; ++room) {
            SCOPED_TRACE(room);
            Datagram datagram = Request(asked, 240 + room);
            ASSERT_EQ(Compose(&datagram), asked[0] == 55 || room >= 9);
            if (asked[0] == 53 && room < 9) continue;
            EXPECT_EQ(datagram.Range(240, 240 + room), Bytes(whole.begin(), whole.begin() + room));
        }
    }
}

}  // namespace
