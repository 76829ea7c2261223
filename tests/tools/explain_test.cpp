#include <gmock/gmock.h>

#include <fstream>

#include "quillonctl/explain/explained_client.h"
#include "quillonctl/explain/status_advice.h"
#include "service/temporary_home.h"

namespace {

using quillonctl::ExplainClient;
using quillonctl::ExplainedClient;
using testing::HasSubstr;

constexpr char Database[] =
    "[Options]\nSubnet Mask=1,ipaddress\nHost Name=12,string\nLease Time=51,time\nHardware Type=-4,byte\n"
    "IP Address=-2,ipaddress\nBoot File=-1,string\nDirected Reply=-9,bool\nBroadcast=-8,bool\n"
    "[Template:lab]\nSubnet Mask=255.255.255.0\nHost Name=shared\n"
    "[00-a0-24-00-00-01]\nTemplate=lab\nIP Address=10.0.0.1\nHost Name=own\nBoot File=a.img\n"
    "[00-a0-24-00-00-02]\nHost Name=x\n"
    "[00-a0-24-00-00-03]\nIP Address=10.0.0.3\nHardware Type=6\n"
    "[00-a0-24-00-00-04]\nIP Address=10.0.0.4\nLease Time=1:30\n"
    "[00-a0-24-00-00-05]\nIP Address=10.0.0.5\nBroadcast=1\n"
    "[00-a0-24-00-00-06]\nIP Address=10.0.0.6\nDirected Reply=1\n"
    "[File Aliases]\na.img=b.img\n";

// What the screen says of a client is what the log would say of its request.
TEST(Explain, SaysWhatAClientGetsAndWhy) {
    const TemporaryHome home;
    home.WriteRegistry({"\"CacheSize\"=dword:00000004"});
    home.Write("bootptab", Database);
    constexpr IpAddress Relay = {{10, 9, 0, 1}};
    const struct {
        std::uint8_t client;
        std::optional<IpAddress> relay;
        bool getsReply;
        std::vector<std::string> lines;
    } cases[] = {
        {1,
         {},
         true,
         {"bootptab:13\n", "template        Template:lab, line 10", "built at the load",
          "boot file       b.img", "option 1        255.255.255.0   [Subnet Mask, template, line 11]",
          "option 12       own   [Host Name, client, line 16]",
          "option 53       2 (DHCPOFFER)   [the service]", "flag clear      to its own address",
          "flag set        to 255.255.255.255"}},
        {1, Relay, true, {"flag clear      to the relay agent 10.9.0.1, port 67"}},
        {2, {}, false, {"No address defined. Reply skipped", "error: the client has no address"}},
        {3, {}, false, {"Hardware type mismatch"}},
        {4, {}, false, {"Error in client's database configuration", "'1:30' has no two colons"}},
        {5, {}, true, {"flag clear      to 255.255.255.255"}},
        {6, {}, true, {"flag set        to its own address", "read from the file at each request"}},
        {7, {}, false, {"section         none in ", "Hardware address not found in database."}},
    };
    for (const auto& [client, relay, getsReply, lines] : cases) {
        const ExplainedClient explained = ExplainClient({{0x00, 0xA0, 0x24, 0, 0, client}, 1, relay, ""});
        EXPECT_EQ(explained.getsReply, getsReply) << explained.text;
        for (const std::string& line : lines)
            EXPECT_THAT(explained.text, HasSubstr(line));
    }
}

// The cells of the guide's table under this heading, as one reads them.
std::vector<std::vector<std::string>> GuideTable(const std::string& heading) {
    std::ifstream guide(OPERATING_GUIDE);
    std::vector<std::vector<std::string>> rows;
    std::string line;
    while (std::getline(guide, line) && line != heading) {
    }
    while (std::getline(guide, line) && !line.starts_with("#")) {
        std::vector<std::string>& cells = rows.emplace_back();
        for (std::size_t at = 0, end; (end = line.find(" |", at)) != std::string::npos; at = end + 2) {
            std::string& cell = cells.emplace_back(line.substr(at, end - at));
            cell.erase(0, cell.find_first_not_of("| "));
            std::erase_if(cell, [](char letter) { return letter == '`' || letter == '\\'; });
        }
        if (cells.size() < 3 || cells[0] == "The log says") rows.pop_back();
    }
    return rows;
}

TEST(Explain, SaysTheSameAsTheGuide) {
    for (const auto& [heading, advice] : {std::pair("### Find status", quillonctl::FindStatusAdvice()),
                                          std::pair("### Reply status", quillonctl::ReplyStatusAdvice())}) {
        std::vector<std::vector<std::string>> rows;
        for (const auto& [log, meaning, todo] : advice)
            rows.push_back({log, meaning, todo});
        EXPECT_EQ(rows, GuideTable(heading)) << heading;
        EXPECT_GT(rows.size(), 6u);
    }
}

// Each status that the files alone decide comes up for such a client, with the advice of its row.
TEST(Explain, GivesTheAdviceOfEachStatus) {
    const TemporaryHome home;
    home.WriteRegistry({"\"CacheSize\"=dword:00000004", "\"RelayAgents\"=\"10.8.0.0/16\"",
                        "\"LocalAddrs\"=\"10.0.0.254,10.1.0.254\""});
    home.Write("bootptab", Database);
    const struct {
        std::uint8_t client;
        std::optional<IpAddress> relay;
        const char* interface;
        bool getsReply;
        std::vector<std::string> said;
    } cases[] = {
        {1, {}, "10.0.0.254", true, {"Found in cache", "*Default: DD;succeeded", "*Default: Broadcast;succ"}},
        {6, {}, "", true, {"Found in database file"}},
        {7, {}, "", false, {"Hardware address not found in database."}},
        {3, {}, "", false, {"Hardware type mismatch. Check the event log."}},
        {4, {}, "", false, {"Error in client's database configuration. Check the event log."}},
        {1, IpAddress{{10, 9, 0, 1}}, "", false, {"Relay agent not listed"}},
        {1, IpAddress{{10, 8, 0, 1}}, "", true, {"*Default: DD;succeeded"}},
        {2, {}, "", false, {"Found in cache", "No address defined. Reply skipped."}},
        {1, {}, "10.1.0.254", false, {"Local interface 10.0.0.254 is more suitable for this query."}},
    };
    for (const auto& [client, relay, interface, getsReply, said] : cases) {
        const ExplainedClient explained =
            ExplainClient({{0x00, 0xA0, 0x24, 0, 0, client}, 1, relay, interface});
        EXPECT_EQ(explained.getsReply, getsReply) << explained.text;
        std::size_t at = explained.text.find("What the log says of it, and what to do\n");
        for (const std::string& status : said) {
            at = explained.text.find("\n  " + status, at);
            ASSERT_NE(at, std::string::npos) << status << explained.text;
            const std::string log = explained.text.substr(at + 3, explained.text.find('\n', at + 3) - at - 3);
            const quillonctl::StatusAdvice* row = quillonctl::AdviceOn(log);
            ASSERT_NE(row, nullptr) << log;
            EXPECT_THAT(explained.text, HasSubstr(std::string(16 + 2, ' ') + row->meaning + "\n"));
            EXPECT_THAT(explained.text, HasSubstr(std::string(16 + 2, ' ') + row->advice + "\n"));
        }
    }
    EXPECT_THROW(ExplainClient({{0x00, 0xA0, 0x24, 0, 0, 1}, 1, {}, "10.2.0.254"}), std::runtime_error);
    EXPECT_EQ(quillonctl::AdviceOn("no status"), nullptr);
}

}  // namespace
