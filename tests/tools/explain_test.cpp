#include <gmock/gmock.h>

#include "quillonctl/explain/explained_client.h"
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
        const ExplainedClient explained = ExplainClient({{0x00, 0xA0, 0x24, 0, 0, client}, 1, relay});
        EXPECT_EQ(explained.getsReply, getsReply) << explained.text;
        for (const std::string& line : lines)
            EXPECT_THAT(explained.text, HasSubstr(line));
    }
}

}  // namespace
