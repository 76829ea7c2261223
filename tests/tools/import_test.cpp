#include <gmock/gmock.h>

#include <regex>

#include "quillonctl/import/bootptab_writer.h"
#include "quillonctl/import/importers.h"

namespace quillonctl {
namespace {

using testing::HasSubstr;
using testing::Not;

using Importer = void (*)(std::string_view text, const HostAddresses& names, Import& import);

struct Outcome {
    std::string rows;      // of [Options]
    std::string sections;  // what stands behind them, each on a line, for the blank line between them
    std::string dropped;   // LINE: text
};

Outcome Convert(Importer importer, std::string_view text) {
    Import import;
    importer(text, ParseHosts("10.1.0.53 ns1 NS1.Example # the first\n::1 ns1\n10.1.0.7 printer"), import);
    const std::string all = WriteBootptab(import, "A test.");
    const std::string head = "; A test.\n\n[Options]\n";
    EXPECT_TRUE(all.starts_with(head)) << all;
    const std::size_t end = std::min(all.find("\n\n[", head.size()), all.size() - 1) + 1;
    const std::string joined = std::regex_replace(all.substr(end), std::regex("([^\n])\n(?=[^\n])"), "$1 | ");
    Outcome outcome{all.substr(head.size(), end - head.size()),
                    std::regex_replace(joined, std::regex("\n\n"), "\n"), ""};
    for (const Dropped& finding : import.AllDropped())
        outcome.dropped += std::to_string(finding.line) + ": " + finding.text + "\n";
    return outcome;
}

constexpr char kDhcpd[] = R"(# Plant network
authoritative; ddns-update-style none; log-facility local7;
option domain-name "plant.example";
option domain-name-servers ns1.example, 10.1.0.54;
option rfc3442 code 121 = array of unsigned integer 8;
option space PXE;
option PXE.mtftp-ip code 1 = ip-address;
default-lease-time 600;
use-host-decl-names on;
shared-network hall {
  option time-offset -3600;
  subnet 10.1.0.0 netmask 255.255.255.0 {
    option routers 10.1.0.1; range 10.1.0.100 10.1.0.200;
    host press { hardware ethernet 8:0:7:26:c0:a5; fixed-address 10.1.0.5; default-lease-time -1; }
    group {
      filename "thin/\"x\".0"; next-server 10.1.0.9;
      option rfc3442 24,10,2,0,10,1,0,1; option vendor-encapsulated-options 1:4:0:0:0:0:ff;
      host thin { hardware ethernet 08:00:07:26:c0:a6; fixed-address 10.1.0.6, 10.1.0.16;
                  option host-name "thin-1"; option domain-name " q "; option root-path "a
    }
  }
}
host printer { hardware token-ring 08-00-07-26-c0-a7; fixed-address printer; always-broadcast on; }
host twin { hardware ethernet 08:00:07:26:C0:A5; fixed-address 10.1.0.8; }
host nomad { hardware ethernet 08:00:07:26:c0:a9; fixed-address 10.9.0.8; }
host known { host-identifier option dhcp-client-identifier "x"; fixed-address 10.1.0.9; }
host refused { hardware ethernet 08:00:07:26:c0:aa; fixed-address 10.1.0.10; deny booting; }
class "pxe" { match if substring(option vendor-class-identifier, 0, 9) = "PXEClient"; }
if exists agent.circuit-id { log(info, "x"); }
)";

TEST(Import, CarriesDhcpdOver) {
    const Outcome outcome = Convert(ImportDhcpd, kDhcpd);
    EXPECT_EQ(
        outcome.rows,
        "Subnet Mask = 1,ipaddress\nTime Offset = 2,int\nGateways = 3,ipaddressarray\n"
        "Name Servers = 6,ipaddressarray\nHost Name = 12,string\nDomain Name = 15,string\n"
        "Root Path = 17,string\nVendor Options = 43,multi-byte\nLease Time = 51,time\nOption 121 = 121,byte\n"
        "Boot File = -1,string\nIP Address = -2,ipaddress\nHardware Type = -4,byte\n"
        "Always Broadcast = -8,bool\nTemplate = -1000,string\n");
    const std::string subnet =
        " | Lease Time = 0:10:00 | Domain Name = plant.example | Name Servers = 10.1.0.53,10.1.0.54"
        " | Time Offset = -3600 | Subnet Mask = 255.255.255.0 | Gateways = 10.1.0.1";
    EXPECT_EQ(outcome.sections,
              "\n[Template:10.1.0.0/24]" + subnet + "\n[Template:10.1.0.0/24 group 1]" + subnet +
                  " | Boot File = thin/\"x\".0 | Option 121 = 24,10,2,0,10,1,0,1 | Vendor Options = "
                  "1,4,0,0,0,0,255\n"
                  "[08-00-07-26-c0-a5] | Template = 10.1.0.0/24 | IP Address = 10.1.0.5 | Host Name = press\n"
                  "[08-00-07-26-c0-a6] | Template = 10.1.0.0/24 group 1 | IP Address = 10.1.0.6"
                  " | Host Name = thin-1 | Domain Name = \" q \" | Root Path = a\n"
                  "[08-00-07-26-c0-a7] | Template = 10.1.0.0/24 | IP Address = 10.1.0.7 | Host Name = printer"
                  " | Hardware Type = 6 | Always Broadcast = 1\n");
    EXPECT_EQ(outcome.dropped,
              R"(7: 'option PXE.mtftp-ip code 1 = ip-address': options of this kind aren't carried
13: 'range 10.1.0.100 10.1.0.200': a pool of addresses isn't carried; every client needs an entry of its own
14: 'default-lease-time -1': '-1' is no time
16: 'next-server 10.1.0.9': a reply names this server as the next one
18: host thin: one client has one address here, and 10.1.0.16 is another one
19: ';' is missing
24: hardware address 08-00-07-26-c0-a5 stands in line 14 already; one client has one address here
25: host nomad: 10.9.0.8 is in no subnet of this file
26: host known: a client without a hardware address can't be named here
28: 'class pxe': isn't carried, with all that is in its block
29: 'if exists agent.circuit-id': isn't carried, with all that is in its block
30: '}' is missing
)");
}
constexpr char kDnsmasq[] = R"(# DHCP in two halls
port=0 # no names here
server=192.0.2.1
dhcp-authoritative
domain=plant.example,10.2.0.0/16
domain=example
dhcp-range=set:hall1,10.1.0.0,static,255.255.0.0,2h
dhcp-range=10.2.0.50,10.2.0.150,255.255.255.0,10.2.0.255,infinite
dhcp-range=192.168.7.0,static
dhcp-range=fd00::2,fd00::500
dhcp-option=option:router,10.1.0.1
dhcp-option=tag:!hall1,3
dhcp-option = 42, 10.1.0.42, 10.1.0.43
dhcp-option=tag:thin,option:root-path,"10.1.0.9:/srv, # really"
dhcp-option=tag:hall1,17,/hall1
dhcp-option=121,10.8.0.0/13,10.1.0.2
dhcp-option=119,eng.example
dhcp-option=211,30i
dhcp-option=252,"\n"
dhcp-option=6,0.0.0.0
dhcp-option=vendor:PXEClient,1,0.0.0.0
dhcp-match=set:efi,option:client-arch,7
dhcp-boot=tag:efi,efi.bin
dhcp-boot=pxelinux.0,,10.1.0.9
dhcp-broadcast=tag:thin
dhcp-mac=set:thin,02:00:5e:00:00:02
dhcp-host=02:00:5e:00:00:01,pc1,10.1.0.5,45m
dhcp-host=06-02:00:5e:00:00:02,02:00:5e:00:00:03,set:wing,id:*,10.2.0.5
dhcp-host=02:00:5e:00:00:04,printer
dhcp-host=02:00:5e:00:00:05,[fd00::5],192.168.7.9
dhcp-host=11:22:33:*:*:*,set:thin
dhcp-host=02:00:5e:00:00:06,ignore
dhcp-host=lap,10.1.0.77
dhcp-ignore=tag:!known
enable-tftp
)";

TEST(Import, CarriesDnsmasqOver) {
    const Outcome outcome = Convert(ImportDnsmasq, kDnsmasq);
    const std::string all =
        " | NTP Servers = 10.1.0.42,10.1.0.43 | Classless Routes = 13,10,8,10,1,0,2"
        " | Domain Search = 3,101,110,103,7,101,120,97,109,112,108,101,0 | PXE Reboot Time = 30"
        " | Option 252 = 10 | Boot File = pxelinux.0";
    const std::string hall2 =
        " | Subnet Mask = 255.255.255.0 | Broadcast Address = 10.2.0.255 | Lease Time = Infinite"
        " | Domain Name = plant.example";
    EXPECT_EQ(
        outcome.sections,
        "\n[Template:10.1.0.0/16] | Subnet Mask = 255.255.0.0 | Broadcast Address = 10.1.255.255"
        " | Lease Time = 2:00:00 | Domain Name = example | Gateways = 10.1.0.1" +
            all + " | Root Path = /hall1\n[Template:10.2.0.0/24]" + hall2 + all +
            "\n[Template:range 192.168.7.0] | Lease Time = 1:00:00 | Domain Name = example" + all +
            "\n[Template:10.2.0.0/24 thin wing]" + hall2 + all +
            " | Root Path = 10.1.0.9:/srv, # really | Always Broadcast = 1\n[Template:10.2.0.0/24 wing]" +
            hall2 + all + R"(
[02-00-5e-00-00-01] | Template = 10.1.0.0/16 | IP Address = 10.1.0.5 | Host Name = pc1 | Lease Time = 0:45:00
[02-00-5e-00-00-02] | Template = 10.2.0.0/24 thin wing | IP Address = 10.2.0.5 | Hardware Type = 6
[02-00-5e-00-00-03] | Template = 10.2.0.0/24 wing | IP Address = 10.2.0.5
[02-00-5e-00-00-04] | Template = 10.1.0.0/16 | IP Address = 10.1.0.7 | Host Name = printer
[02-00-5e-00-00-05] | Template = range 192.168.7.0 | IP Address = 192.168.7.9
)");
    EXPECT_EQ(outcome.dropped,
              R"(8: dhcp-range: a pool of addresses isn't carried; every client needs an entry of its own
9: dhcp-range: dnsmasq takes the netmask from its interface; put it after the range
10: dhcp-range: this is no range of IPv4 addresses
20: dhcp-option: 0.0.0.0 stands for dnsmasq's own address, which isn't in this file
21: dhcp-option: 'vendor:PXEClient': options of this kind aren't carried
22: dhcp-match: isn't carried
23: tag 'efi' depends on the client's request
24: dhcp-boot: '10.1.0.9': a reply names this server as the next one
30: dhcp-host: [fd00::5]: IPv6 isn't carried
31: dhcp-host: '11:22:33:*:*:*' stands for many clients
31: dhcp-host: there is no hardware address
33: dhcp-host: there is no hardware address
35: enable-tftp: isn't carried
)");
    const std::string own = " dnsmasq gives its own address, which isn't in this file; say it with option:";
    EXPECT_EQ(
        Convert(ImportDnsmasq, "dhcp-range=10.1.0.0,static,255.255.0.0").dropped,
        "1: dhcp-range: as router" + own + "router\n1: dhcp-range: as DNS server" + own + "dns-server\n");
}

constexpr char kKea[] = R"({ // DHCP
  "Dhcp4": { "valid-lifetime": 4000, # seconds
    "renew-timer": 1000, "t1-percent": .5, "next-server": "0.0.0.0",
    "option-def": [ { "name": "site", "code": 222, "type": "uint16", "array": true } ],
    "option-data": [ { "name": "domain-name-servers", "data": "10.1.0.53, 10.1.0.54" },
      { "code": 222, "data": "1,0x203" },
      { "name": "tcode", "data": "a\\,b" }, ],
    "client-classes": [
      { "name": "thin", "boot-file-name": "thin.0", "option-data": [ { "name": "root-path", "data": "/srv" } ] },
      { "name": "efi", "test": "option[93].hex == 0x0007", "boot-file-name": "efi.bin" } ],
    /* two
       halls */
    "shared-networks": [ { "name": "halls", "rebind-timer": 2000, "subnet4": [
      { "subnet": "10.1.0.0/16", "pools": [ { "pool": "10.1.2.1 - 10.1.2.9" } ],
        "boot-file-name": "hall1.0",
        "option-data": [ { "name": "routers", "data": "10.1.0.1" } ],
        "reservations": [
          { "hw-address": "02:00:5e:00:00:01", "ip-address": "10.1.0.5", "hostname": "pc1",
            "client-classes": [ "thin", "gone" ] },
          { "client-id": "01:11:22", "ip-address": "10.1.0.6" },
          { "hw-address": "02:00:5e:00:00:02", "ip-address": "10.1.0.7", "boot-file-name": "own.0",
            "option-data": [ { "name": "vendor-encapsulated-options", "csv-format": false, "data": "01 02 FF" },
              { "name": "domain-name-servers", "csv-format": false, "data": "0A010035" } ] } ] } ] } ],
    "subnet4": [ { "subnet": "10.2.0.0/24" } ],
    "reservations": [ { "hw-address": "02:00:5e:00:00:03", "ip-address": "10.2.0.7" } ],
    "hooks-libraries": [ { "library": "/x.so" } ], "loggers": [ ], "surprise": 1
  } }
)";

TEST(Import, CarriesKeaOver) {
    const Outcome outcome = Convert(ImportKea, kKea);
    const std::string all =
        " | Lease Time = 1:06:40 | Renewal Time = 0:16:40 | Name Servers = 10.1.0.53,10.1.0.54"
        " | Option 222 = 1,515 | Time Zone = a,b";
    EXPECT_EQ(
        outcome.sections,
        "\n[Template:10.1.0.0/16]" + all +
            " | Rebinding Time = 0:33:20 | Subnet Mask = 255.255.0.0 | Boot File = hall1.0"
            " | Gateways = 10.1.0.1\n[Template:10.2.0.0/24]" +
            all + " | Subnet Mask = 255.255.255.0\n[Template:10.1.0.0/16 thin]" + all +
            " | Boot File = thin.0 | Root Path = /srv | Rebinding Time = 0:33:20"
            " | Subnet Mask = 255.255.0.0 | Gateways = 10.1.0.1"
            "\n[02-00-5e-00-00-01] | Template = 10.1.0.0/16 thin | IP Address = 10.1.0.5 | Host Name = pc1"
            "\n[02-00-5e-00-00-02] | Lease Time = 1:06:40 | Renewal Time = 0:16:40 | Option 6 = 10,1,0,53"
            " | Option 222 = 1,515 | Time Zone = a,b | Rebinding Time = 0:33:20"
            " | Subnet Mask = 255.255.0.0 | Boot File = own.0 | Gateways = 10.1.0.1"
            " | IP Address = 10.1.0.7 | Vendor Options = 1,2,255\n");
    EXPECT_EQ(outcome.dropped,
              R"(10: class 'efi' depends on the client's request; it counts where a reservation names it
14: a pool of addresses isn't carried; every client needs an entry of its own
19: class 'gone' isn't in this file
20: reservation: clients are known by their hardware address only
25: Kea doesn't use this reservation: reservations-global isn't set
26: hooks-libraries: what comes from there isn't carried
26: surprise: isn't carried
)");
}

TEST(Import, CarriesTablesOver) {
    const Outcome ethers =
        Convert(ImportEthers,
                "# office\n8:0:20:a:b:c\tprinter # 2nd floor\r\n02-00-5e-00-00-01 10.1.0.9\n"
                "02:00:5e:00:00:02 nowhere\nnonsense\n");
    EXPECT_EQ(ethers.sections,
              "\n[08-00-20-0a-0b-0c] | IP Address = 10.1.0.7 | Host Name = printer\n"
              "[02-00-5e-00-00-01] | IP Address = 10.1.0.9\n");
    EXPECT_EQ(ethers.dropped,
              "4: 'nowhere' is no IPv4 address; --hosts FILE can give the addresses of names\n"
              "5: this is no hardware address with an address or a name\n");
    const Outcome csv =
        Convert(ImportCsv, R"(MAC;IP Address;hostname;mask;gateway;dns;boot file;lease;group;colour
02005e000001;10.1.0.5;"pc;""1""";24;10.1.0.1;10.1.0.53 10.1.0.54;a.0;12h;;red
0200.5e00.0002;10.1.0.6;pc2;255.255.255.0;10.1.0.1;10.1.0.53 10.1.0.54;b.0;12h;;

02:00:5e:00:00:03;10.2.0.6;;/16;;;;1:30:00;lab
02:00:5e:00:00:04;;;;;;;;lab
02:00:5e:00:00:05;10.2.0.300;;;;;;soon;lab;;more
)");
    EXPECT_EQ(csv.sections,
              "\n[Template:10.1.0.0/24] | Subnet Mask = 255.255.255.0 | Gateways = 10.1.0.1"
              " | Name Servers = 10.1.0.53,10.1.0.54 | Lease Time = 12:00:00"
              "\n[Template:lab] | Subnet Mask = 255.255.0.0 | Lease Time = 1:30:00"
              "\n[02-00-5e-00-00-01] | Template = 10.1.0.0/24 | IP Address = 10.1.0.5"
              " | Host Name = pc;\"1\" | Boot File = a.0"
              "\n[02-00-5e-00-00-02] | Template = 10.1.0.0/24 | IP Address = 10.1.0.6"
              " | Host Name = pc2 | Boot File = b.0"
              "\n[02-00-5e-00-00-03] | Template = lab | IP Address = 10.2.0.6\n");
    EXPECT_EQ(csv.dropped,
              R"(1: column 'colour': isn't known
6: there is no IPv4 address
7: IP Address: '10.2.0.300' is no IPv4 address; --hosts FILE can give the addresses of names
7: Lease Time: 'soon' is no time
7: 'more' stands under no column name
7: there is no IPv4 address
)");
}

// What no server would take, and what would use up a stack or run off the end of a text.
TEST(Import, SurvivesWhatIsNoConfiguration) {
    const std::string deep(100000, '{');
    const std::string arrays(100000, '[');
    const std::tuple<Importer, std::string, const char*> rows[] = {
        {ImportDhcpd, deep, "1: blocks are nested too deeply; what follows isn't read\n"},
        {ImportDhcpd, "}", "1: '}' without a block\n"},
        {ImportDhcpd, "option host-name \"a\\", "';' is missing"},
        {ImportDhcpd, "subnet 10.0.0.0 netmask 255.0.0.0 {option routers \"\\x\";}", "is no IPv4 address"},
        {ImportDnsmasq, "dhcp-option=6,\"\\", "is no IPv4 address"},
        {ImportDnsmasq, "dhcp-option\ndhcp-host\ndhcp-boot", "1: dhcp-option: there is no option\n"},
        {ImportKea, arrays, "1: nested too deeply\n"},
        {ImportKea, "/*", "1: "},
        {ImportKea, "[1,]", "1: there is no \"Dhcp4\" here\n"},
        {ImportKea, "{\n\"Dhcp4\": nil }", "2: "},
        {ImportCsv, "", ""},
        {ImportCsv, "mac,\"ip\nx", "the first line has to name"},
        {ImportEthers, ":", "1: this is no hardware address"},
    };
    for (const auto& [importer, text, dropped] : rows) {
        const Outcome outcome = Convert(importer, text);
        EXPECT_THAT(outcome.dropped, HasSubstr(dropped)) << text.substr(0, 80);
        EXPECT_THAT(outcome.sections, Not(HasSubstr("IP Address"))) << text.substr(0, 80);
    }
}

// A value that bootptab can't hold isn't cut.
TEST(Import, KeepsToTheLimitsOfAnOption) {
    const std::string host =
        "subnet 10.0.0.0 netmask 255.0.0.0 {host h {hardware ethernet 2:0:0:0:0:1; fixed-address 10.0.0.1;";
    const auto texts = [](std::size_t size) { return '"' + std::string(size, 'x') + "\";}}"; };
    std::string servers = "10.0.0.1";
    for (int count = 1; count < 63; ++count)
        servers += ",10.0.0.1";
    const std::pair<std::string, std::string> rows[] = {
        // what is carried, and what is one too many
        {"filename " + texts(127), "filename " + texts(128)},
        {"option root-path " + texts(255), "option root-path " + texts(256)},
        {"option routers " + servers + ";}}", "option routers " + servers + ",10.0.0.1;}}"},
        {"option default-ip-ttl 255;}}", "option default-ip-ttl 256;}}"},
        {"option time-offset -2147483648;}}", "option domain-search " + texts(64)},
    };
    for (const auto& [carried, tooLong] : rows) {
        EXPECT_EQ(Convert(ImportDhcpd, host + carried).dropped, "");
        EXPECT_NE(Convert(ImportDhcpd, host + tooLong).dropped, "") << tooLong;
    }
}

}  // namespace
}  // namespace quillonctl
