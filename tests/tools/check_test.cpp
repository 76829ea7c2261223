#include <gmock/gmock.h>

#include <random>
#include <regex>
#include <sstream>

#include "diagnostics/event_report.h"
#include "quillonctl/check/database_check.h"
#include "service/generation.h"
#include "service/parameter_load.h"
#include "service/temporary_home.h"

namespace {

using quillonctl::CheckDatabase;
using quillonctl::CheckOutcome;
using quillonctl::Severity;
using testing::Contains;
using testing::ElementsAreArray;
using testing::HasSubstr;

constexpr char Options[] =
    "[Options]\nSubnet Mask=1,ipaddress\nGateways=3,ipaddressarray\nHost Name=12,string\nLease Time=51,time\n"
    "Serial=250,haddr\nIP Address=-2,ipaddress\nBoot File=-1,string\nDirected Reply=-9,bool\nRoot "
    "Path=17,string\n";
constexpr int OptionLines = 10;

// The findings as "LINE severity: text", lines counted from the one after the options.
std::vector<std::string> FindingsOf(const CheckOutcome& outcome) {
    std::vector<std::string> lines;
    for (const quillonctl::Finding& finding : outcome.findings.All())
        lines.push_back(std::to_string(finding.line - OptionLines) + " " + SeverityName(finding.severity) +
                        ": " + finding.text);
    return lines;
}

class Check : public testing::Test {
  protected:
    Check() { home.WriteRegistry({"\"HelperDLL\"=\"" HELPER_PATH "\""}); }

    CheckOutcome Run(const std::string& afterOptions) const {
        home.Write("bootptab", Options + afterOptions);
        return CheckDatabase(std::nullopt);
    }
    TemporaryHome home;
};

const std::string Client = "[00-a0-24-12-34-56]\nIP Address=10.0.0.1\n";

TEST_F(Check, FindsEachMistakeInItsLine) {
    const std::string one = "[00-a0-24-00-00-01]\n", mask = "Subnet Mask=255.255.255.0\n";
    const std::string noReply = "1 error: the client gets no reply (event 0xC000001C): ";
    const std::string path = Client + "Host Name=a\nRoot Path=";
    const std::pair<std::string, std::string> cases[] = {
        {"Type=9,ipadressarray\n",
         "1 error: Type: 'ipadressarray' is no type word and makes the option a byte"},
        {"Type=9,ipadressarray\n", "did you mean 'ipaddressarray'?"},
        {"Type=9, string\n", "1 error: Type: a blank or a remark beside the type word 'string'"},
        {"Type=9,string ; name\n", "1 error: Type: a blank or a remark beside the type word 'string'"},
        {"Type=12\n", "1 error: the load is refused: Type: a comma belongs"},
        {"Type=99999999999,byte\n", "1 error: the load is refused: Type: the tag '99999999999' is beyond"},
        {"Type=300,byte\n", "1 warning: Type: tag 300 goes out as 44"},
        {"Type=x9,byte\n", "1 warning: Type: the tag 'x9' is read as 0"},
        {"HOST NAME=13,byte\n", "1 warning: HOST NAME: stands in line 4 already"},
        {"[Options2]\na=1\n", "1 warning: [Options2] only looks like a special section"},
        {"[Template:a]\n[template:b]\n", "2 error: the load is refused: [template:b] is no section"},
        {"[Template:a]\nTemplate=b\n", "2 warning: Template: a template has no template of its own"},
        {one + "IP Adress=10.0.0.2\n", "2 warning: IP Adress: [Options] has no such key, it is ignored; did"},
        {one + "IP Address=10.20.6.400\n", "2 error: IP Address: '10.20.6.400' is no address"},
        {one + "IP Address=10.1\n", "2 warning: IP Address: '10.1' is read as 10.0.0.1"},
        {one + "Gateways=10.0.0.1, 10.0.0.2\n", "2 error: Gateways: a blank makes ' 10.0.0.2' no address"},
        {one + "Gateways=10.0.0.1,,10.0.0.2\n", "2 warning: Gateways: what stands after the empty item"},
        {one + "Lease Time=1:30\n", "2 error: Lease Time: the time '1:30' has no two colons"},
        {one + "Lease Time=1:30\n", noReply + "'Lease Time' in line 12 can't be used"},
        {one + "Host Name=" + std::string(256, 'x') + "\n",
         "2 error: Host Name: the text has 256 characters"},
        {one + "Serial=1\n", "2 error: Serial: an option of type haddr can't be sent"},
        {one + "Directed Reply=yes\n", "2 warning: Directed Reply: 'yes' is read as the number 0"},
        {one + "Template=lab\n[Template:lap]\nx=1\n",
         "2 error: Template: there is no section [Template:lab]; did"},
        {one, noReply + "the section has no keys"},
        {"[00:a0:24-00:00:01]\nIP Address=10.0.0.2\n", noReply + "'00:a0:24-00:00:01' is read as"},
        {"[my client]\nIP Address=10.0.0.2\n", "1 error: the load is refused: [my client] is no section"},
        {"[00-a0-24]\nIP Address=10.0.0.2\n", "1 warning: a hardware address of 3 bytes; Ethernet has 6"},
        {one + "Host Name=a\n", "1 error: the client has no address, so it gets no reply"},
        {Client + "[00-A0-24-12-34-56]\nIP Address=10.0.0.2\n",
         "3 error: the client stands in line 11 already"},
        {Client + one + "IP Address=10.0.0.1\n", "4 error: the address 10.0.0.1 is that of line 12 as well"},
        {Client + mask + "Gateways=10.0.1.1\n", "2 warning: the gateway 10.0.1.1 lies outside the subnet of"},
        {one + mask + "IP Address=10.0.0.255\n",
         "3 warning: 10.0.0.255 is the broadcast address of its subnet"},
        {one + "Subnet Mask=255.0.255.0\nIP Address=10.0.0.5\n",
         "3 warning: the subnet mask 255.0.255.0 has gaps"},
        {path + std::string(46, 'x') + "\n",
         "1 warning: a reply of 301 octets doesn't fit a request of 300, which loses the end mark: set "
         "MinResponseSize"},
        {path + std::string(47, 'x') + "\n",
         "1 warning: a reply of 302 octets doesn't fit a request of 300, which loses option 17 (Root Path)"},
        {Client + "Host Name=a\nHost Name=b\n", "4 warning: Host Name: stands in line 13 already"},
    };
    for (const auto& [file, finding] : cases)
        EXPECT_THAT(FindingsOf(Run(file)), Contains(HasSubstr(finding))) << file;
}

TEST_F(Check, FindsNothingInAGoodFile) {
    const std::string lab =
        "[Template:lab]\nSubnet Mask=255.255.255.0\nLease Time=Infinite\nGateways=10.0.0.254\n";
    const std::string keys = "Template=lab\nHost Name=a\nDirected Reply=1\nRoot Path=/srv/root\n";
    EXPECT_THAT(FindingsOf(Run(lab + Client + keys)), testing::IsEmpty());
    for (const char* file : {"bootptab.initial", "bootptab.sample"})
        EXPECT_EQ(CheckDatabase(PACKAGING "/" + std::string(file)).findings.Count(Severity::Error), 0u)
            << file;
}

TEST_F(Check, LooksAtTheRegistryAsALoadDoes) {
    const struct {
        const char *value, *finding;
        bool refuses;
    } cases[] = {
        {"\"ExpireHits\"", "the value ExpireHits is missing", true},
        {"\"ExpireHits\"=\"1\"", "ExpireHits isn't a number (dword)", true},
        {"\"CacheSize\"=dword:ffffffff", "no heap is large enough for a CacheSize of 4294967295", true},
        {"\"CacheSize\"=dword:xyz", "the load is refused: ", true},
        {"\"PacketTripRate\"=dword:00002000", "8192 is outside 0 to 1000 and counts as 1000", false},
        {"\"MaxDaemonThreads\"=dword:00000000", "0 is outside 1 to 1000 and counts as 10", false},
        {"\"MinResponsSize\"=dword:00000240", "no parameter has this name; did you mean 'MinResponseSize'?",
         false},
        {"\"LocalAddrs\"=\"eth0\"", "no address can be read from it, so no socket is bound", false},
        {"\"LocalAddrs\"=dword:00000001", "LocalAddrs: missing, it opens every interface", false},
        {"\"LocalAddrs\"=\"127.0.0.1,eth0\"", "'eth0' is no address and is left out", false},
        {"\"LocalAddrs\"=\"127.0.0.1,,eth0\"", "after the empty piece isn't used", false},
        {"\"LocalAddrs\"=\"203.0.113.9\"", "203.0.113.9 is no address of this machine now", false},
        {"\"ReloadSources\"=dword:00000001",
         "ReloadSources: isn't a text of at most 259 characters; it "
         "counts as nobody",
         false},
        {"\"RelayAgents\"=\"10.0.0.0/8,router\"", "'router' is neither an address nor 'local'", false},
        {"\"HelperDLL\"=\"./none.so\"", "HelperDLL: there is no file './none.so'", true},
        {"\"LogFile\"=\"none/bootps.log\"", "LogFile: there is no folder '", true},
    };
    for (const auto& [value, finding, refuses] : cases) {
        home.WriteRegistry({"\"HelperDLL\"=\"" HELPER_PATH "\"", "\"EnableLogging\"=dword:1", value});
        const CheckOutcome outcome = Run(Client);
        EXPECT_THAT(FindingsOf(outcome), Contains(HasSubstr(finding))) << value;
        EXPECT_EQ(outcome.findings.Refuses(), refuses) << value;
    }
}

TEST_F(Check, CountsTheClientsBeyondTheCache) {
    home.WriteRegistry({"\"HelperDLL\"=\"" HELPER_PATH "\"", "\"CacheSize\"=dword:00000001"});
    const CheckOutcome outcome = Run(Client + "[00-a0-24-12-34-57]\nIP Address=10.0.0.2\n[stray]\n");
    EXPECT_THAT(FindingsOf(outcome), Contains(HasSubstr("note: 1 of 2 clients lie beyond CacheSize (1)")));
    EXPECT_THAT(FindingsOf(outcome),
                Contains(HasSubstr("5 error: a load that comes this far is refused: [stray]")));
    EXPECT_FALSE(outcome.findings.Refuses()) << "the load stops before the stray section";
}

struct Plant {
    int client;           // in whose place it stands
    const char* section;  // MAC is the client's address
    int line;             // within the section
    const char* said;
};
constexpr Plant Plants[] = {
    {100, "[MAC]\nTemplate=lab\nIP Address=10.20.6.400\n", 2, "error: IP Address: '10.20.6.400' is no"},
    {200, "[MAC]\nTemplate=lab\nIP Address=10.20.200.1\nGateways=10.20.0.1, 10.20.0.2\n", 3,
     "error: Gateways: a blank makes ' 10.20.0.2' no address"},
    {300, "[00-a0-24-01-00-00]\nTemplate=lab\nIP Address=10.20.200.2\n", 0, "error: the client stands in"},
    {400, "[MAC]\nTemplate=lab\nIP Address=10.20.0.1\n", 2, "error: the address 10.20.0.1 is that of line"},
    {500, "[MAC]\nTemplate=lap\nIP Address=10.20.200.3\n", 1, "error: Template: there is no section"},
    {600, "[MAC]\nTemplate=lab\nIP Address=10.20.200.4\nLease Time=1:30\n", 3, "has no two colons"},
    {700, "[MAC]\nTemplate=lab\nIP Address=10.20.200.5\nBoot Fil=x\n", 3, "did you mean 'Boot File'?"},
    {800, "[MAC]\nTemplate=lab\nIP Address=10.20.255.255\n", 2, "is the broadcast address of its subnet"},
    {900, "[MAC]\nTemplate=lab\nIP Address=10.20.200.6\nGateways=10.21.0.1\n", 2, "lies outside the subnet"},
    {1000, "[00-a0-24]\nTemplate=lab\nIP Address=10.20.200.7\n", 0, "warning: a hardware address of 3 bytes"},
    {1100, "[Options2]\nSubnet Mask=1,ipaddress\n", 0, "warning: [Options2] only looks like"},
};

// What an operator of many clients overlooks: each is found in its line, and nothing is said of the others.
TEST_F(Check, FindsThirteenMistakesAmongThreeThousandClients) {
    const std::string head =
        "Log Servers=7,ipadressarray\nTime Servers=4, ipaddress\n[Template:lab]\nSubnet Mask=255.255.0.0\n"
        "Lease Time=12:00:00\n";
    std::string text = head;
    int line = static_cast<int>(std::count(head.begin(), head.end(), '\n')) + 1;
    std::vector<std::pair<int, std::string>> expected = {{1, "'ipadressarray' is no type word"},
                                                         {2, "a blank or a remark beside the type word"}};
    std::vector<bool> mayBeFound = {false, true, true};
    for (int client = 0; client < 3000; ++client) {
        char mac[24];
        std::snprintf(mac, sizeof mac, "00-a0-24-01-%02x-%02x", client / 200, client % 200);
        const std::string address = std::to_string(client / 200) + "." + std::to_string(client % 200 + 1);
        std::string section = "[MAC]\nTemplate=lab\nIP Address=10.20." + address + "\n";
        const auto* plant = std::ranges::find(Plants, client, &Plant::client);
        if (plant != std::end(Plants)) {
            section = plant->section;
            expected.emplace_back(line + plant->line, plant->said);
        }
        if (section.starts_with("[MAC]")) section.replace(1, 3, mac);
        line += static_cast<int>(std::count(section.begin(), section.end(), '\n'));
        mayBeFound.resize(static_cast<std::size_t>(line), plant != std::end(Plants));
        text += section;
    }
    const std::vector<std::string> findings = FindingsOf(Run(text));
    ASSERT_EQ(expected.size(), 13u);
    for (const auto& [place, said] : expected)
        EXPECT_THAT(findings,
                    Contains(AllOf(testing::StartsWith(std::to_string(place) + " "), HasSubstr(said))));
    for (const std::string& finding : findings) {
        const auto place = static_cast<std::size_t>(std::stoi(finding));
        EXPECT_TRUE(finding.find("note: ") != finding.npos || mayBeFound.at(place)) << finding;
    }
}

// A database of a few clients with faults at random places.
std::string RandomDatabase(std::mt19937& random) {
    const auto oneOf = [&](std::initializer_list<const char*> texts) {
        return *(texts.begin() + random() % texts.size());
    };
    std::string text = Options;
    if (random() % 12 == 0) text += oneOf({"Bad=12\n", "Bad=4294967296,byte\n", "Bad=2147483648,byte\n"});
    text += "[Template:a]\nSubnet Mask=255.255.255.0\n";
    if (random() % 4 == 0) text += oneOf({"Lease Time=7\n", "Serial=1\n", "Host Name=shared\n"});
    for (unsigned left = random() % 6; left > 0; --left) {
        if (random() % 25 == 0) text += oneOf({"[stray]\n", "[options]\n", "[Options-2]\n"});
        text += "[00-a0-24-00-00-" + std::string(1, "0123456789abcdefgG"[random() % 18]) +
                oneOf({"1", "2", "3", "", ":4"}) + "]\n";
        if (random() % 8 != 0) text += "IP Address=10.0.0." + std::to_string(random() % 300) + "\n";
        if (random() % 3 == 0) text += "Template=a\n";
        if (random() % 4 == 0)
            text += oneOf(
                {"Lease Time=1:2:3\n", "Lease Time=1:2\n", "Serial=9\n", "Host Name=x\n", "Lease Time=::\n"});
        if (random() % 9 == 0) text += "Boot File=" + std::string(120 + random() % 10, 'f') + "\n";
    }
    return text;
}

// What the event log of a load says of its sections.
std::vector<std::string> ReportedSections(const std::string& events) {
    static const std::regex entry("hardware address (.*) is malformed");
    std::vector<std::string> sections;
    for (std::sregex_iterator at(events.begin(), events.end(), entry), end; at != end; ++at)
        sections.push_back((*at)[1]);
    return sections;
}

// The headings of the sections that a check says get no reply.
std::vector<std::string> SectionsWithoutReply(const CheckOutcome& outcome, const std::string& database) {
    std::vector<std::string> sections;
    for (const quillonctl::Finding& finding : outcome.findings.All()) {
        if (finding.text.find("0xC000001C") == std::string::npos) continue;
        std::istringstream lines(database);
        std::string line;
        for (int at = 0; at < finding.line; ++at)
            std::getline(lines, line);
        sections.push_back(line.substr(1, line.size() - 2));
    }
    return sections;
}

TEST_F(Check, SaysOfRandomDatabasesWhatALoadDoesWithThem) {
    std::mt19937 random(20261123);
    InstallEventMask(31);
    home.WriteRegistry({"\"HelperDLL\"=\"" HELPER_PATH "\"", "\"CacheSize\"=dword:00000000"});
    int refused = 0;
    int malformed = 0;
    for (int round = 0; round < 400; ++round) {
        const std::string database = RandomDatabase(random);
        home.Write("bootptab", database);
        home.Write("events.log", "");
        ServerParameters record = {};
        const LoadResult result = LoadParameters(&record);
        ReleaseParameters(&record);
        const CheckOutcome outcome = CheckDatabase(std::nullopt);
        ASSERT_EQ(outcome.findings.Refuses(), result != LoadOk) << database;
        refused += result != LoadOk;
        if (result != LoadOk) continue;  // the load may have ended before it came to all sections
        const std::vector<std::string> reported = ReportedSections(home.Read("events.log"));
        ASSERT_THAT(SectionsWithoutReply(outcome, database), ElementsAreArray(reported)) << database;
        malformed += !reported.empty();
    }
    EXPECT_GT(refused, 40);
    EXPECT_GT(malformed, 40);
}

}  // namespace
