#include "quillonctl/import/option_names.h"

#include <algorithm>
#include <iterator>

#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

using enum Shape;

constexpr KnownOption KnownOptions[] = {
    {1, "Subnet Mask", Address, "subnet-mask netmask mask"},
    {2, "Time Offset", Longs, "time-offset"},
    {3, "Gateways", Addresses, "routers router gateway gateways default-gateway"},
    {4, "Time Servers", Addresses, "time-servers"},
    {5, "IEN Name Servers", Addresses, "ien116-name-servers name-servers"},
    {6, "Name Servers", Addresses, "domain-name-servers dns-server dns-servers dns nameserver nameservers"},
    {7, "Log Servers", Addresses, "log-servers log-server"},
    {8, "Cookie Servers", Addresses, "cookie-servers"},
    {9, "Print Servers", Addresses, "lpr-servers lpr-server"},
    {10, "Impress Servers", Addresses, "impress-servers"},
    {11, "Resource Location Servers", Addresses, "resource-location-servers"},
    {12, "Host Name", Text, "host-name hostname name"},
    {13, "Boot File Size", Numbers, "boot-size boot-file-size"},
    {14, "Merit Dump File", Text, "merit-dump"},
    {15, "Domain Name", Text, "domain-name domain"},
    {16, "Swap Server", Address, "swap-server"},
    {17, "Root Path", Text, "root-path"},
    {18, "Extensions Path", Text, "extensions-path extension-path"},
    {19, "IP Forwarding", Flag, "ip-forwarding ip-forward-enable"},
    {20, "Non-Local Source Routing", Flag, "non-local-source-routing"},
    {21, "Policy Filter", Addresses, "policy-filter"},
    {22, "Max Datagram Reassembly", Numbers, "max-dgram-reassembly max-datagram-reassembly"},
    {23, "Default TTL", Bytes, "default-ip-ttl default-ttl"},
    {24, "Path MTU Aging Timeout", Longs, "path-mtu-aging-timeout"},
    {25, "Path MTU Plateau Table", Numbers, "path-mtu-plateau-table"},
    {26, "Interface MTU", Numbers, "interface-mtu mtu"},
    {27, "All Subnets Local", Flag, "all-subnets-local"},
    {28, "Broadcast Address", Address, "broadcast-address broadcast"},
    {29, "Perform Mask Discovery", Flag, "perform-mask-discovery"},
    {30, "Mask Supplier", Flag, "mask-supplier"},
    {31, "Router Discovery", Flag, "router-discovery"},
    {32, "Router Solicitation Address", Address, "router-solicitation-address router-solicitation"},
    {33, "Static Routes", Addresses, "static-routes static-route"},
    {34, "Trailer Encapsulation", Flag, "trailer-encapsulation"},
    {35, "ARP Cache Timeout", Longs, "arp-cache-timeout arp-timeout"},
    {36, "Ethernet Encapsulation", Flag, "ieee802-3-encapsulation ethernet-encap"},
    {37, "TCP Default TTL", Bytes, "default-tcp-ttl tcp-ttl"},
    {38, "TCP Keepalive Interval", Longs, "tcp-keepalive-interval tcp-keepalive"},
    {39, "TCP Keepalive Garbage", Flag, "tcp-keepalive-garbage"},
    {40, "NIS Domain", Text, "nis-domain"},
    {41, "NIS Servers", Addresses, "nis-servers nis-server"},
    {42, "NTP Servers", Addresses, "ntp-servers ntp-server ntp"},
    {43, "Vendor Options", Octets, "vendor-encapsulated-options"},
    {44, "NetBIOS Name Servers", Addresses, "netbios-name-servers netbios-ns"},
    {45, "NetBIOS Datagram Servers", Addresses, "netbios-dd-server netbios-dd"},
    {46, "NetBIOS Node Type", Bytes, "netbios-node-type netbios-nodetype"},
    {47, "NetBIOS Scope", Text, "netbios-scope"},
    {48, "Font Servers", Addresses, "font-servers x-windows-fs"},
    {49, "Display Managers", Addresses, "x-display-manager x-windows-dm"},
    {51, "Lease Time", Seconds, "dhcp-lease-time lease-time lease"},
    {58, "Renewal Time", Seconds, "dhcp-renewal-time t1 renewal-time"},
    {59, "Rebinding Time", Seconds, "dhcp-rebinding-time t2 rebinding-time"},
    {60, "Vendor Class", Text, "vendor-class-identifier vendor-class"},
    {62, "NetWare Domain", Text, "nwip-domain nwip-domain-name"},
    {63, "NetWare Options", Octets, "nwip-suboptions"},
    {64, "NIS+ Domain", Text, "nisplus-domain nisplus-domain-name nis+-domain"},
    {65, "NIS+ Servers", Addresses, "nisplus-servers nis+-server"},
    {66, "TFTP Server Name", Text, "tftp-server-name tftp-server"},
    {67, "Boot File Name", Text, "bootfile-name boot-file-name"},
    {68, "Mobile IP Home Agents", Addresses, "mobile-ip-home-agent mobile-ip-home"},
    {69, "SMTP Servers", Addresses, "smtp-server smtp-servers"},
    {70, "POP3 Servers", Addresses, "pop-server pop3-server"},
    {71, "NNTP Servers", Addresses, "nntp-server"},
    {72, "WWW Servers", Addresses, "www-server"},
    {73, "Finger Servers", Addresses, "finger-server"},
    {74, "IRC Servers", Addresses, "irc-server"},
    {75, "StreetTalk Servers", Addresses, "streettalk-server"},
    {76, "StreetTalk Directory Servers", Addresses, "streettalk-directory-assistance-server"},
    {85, "NDS Servers", Addresses, "nds-servers nds-server"},
    {86, "NDS Tree Name", Text, "nds-tree-name"},
    {87, "NDS Context", Text, "nds-context"},
    {88, "BCMS Controller Names", Domains, "bcms-controller-names"},
    {89, "BCMS Controller Addresses", Addresses, "bcms-controller-address"},
    {93, "Client Architectures", Numbers, "client-arch client-system"},
    {98, "UAP Servers", Text, "uap-servers"},
    {100, "POSIX Time Zone", Text, "pcode posix-timezone"},
    {101, "Time Zone", Text, "tcode tzdb-timezone"},
    {108, "IPv6 Only", Longs, "v6-only-preferred ipv6-only"},
    {112, "NetInfo Server Addresses", Addresses, "netinfo-server-address"},
    {113, "NetInfo Server Tag", Text, "netinfo-server-tag"},
    {114, "Captive Portal", Text, "v4-captive-portal default-url"},
    {116, "Auto Configuration", Bytes, "auto-config"},
    {117, "Name Service Search", Numbers, "name-service-search"},
    {119, "Domain Search", Domains, "domain-search"},
    {121, "Classless Routes", Routes, "classless-static-route classless-static-routes"},
    {136, "PANA Agents", Addresses, "pana-agent"},
    {137, "LoST Server", Domains, "v4-lost"},
    {138, "CAPWAP Controllers", Addresses, "capwap-ac-v4"},
    {141, "SIP Configuration Domains", Domains, "sip-ua-cs-list sip-ua-cs-domains"},
    {150, "TFTP Server Addresses", Addresses, "tftp-server-address"},
    {208, "PXE Magic", Octets, "loader-magic"},
    {209, "PXE Configuration File", Text, "loader-configfile"},
    {210, "PXE Path Prefix", Text, "loader-pathprefix"},
    {211, "PXE Reboot Time", Longs, "loader-reboottime"},
    {213, "Access Domain", Domains, "v4-access-domain"},
    {BootFileTag, "Boot File", Text, "filename"},
    {AddressTag, "IP Address", Address, "ip-address ip address ipv4 ipv4-address fixed-address"},
    {HardwareTypeTag, "Hardware Type", Bytes, "hardware-type"},
    {BroadcastTag, "Always Broadcast", Flag, "always-broadcast"},
    {TemplateTag, "Template", Text, "template"},
};

std::string Hyphenated(std::string_view name) {
    std::string plain = Lower(Trimmed(name));
    std::ranges::replace(plain, ' ', '-');
    std::ranges::replace(plain, '_', '-');
    return plain;
}

bool IsAliasOf(const KnownOption& option, std::string_view plain) {
    std::string_view rest = option.aliases;
    while (!rest.empty()) {
        const std::string_view alias = rest.substr(0, rest.find(' '));
        if (alias == plain) return true;
        rest.remove_prefix(std::min(alias.size() + 1, rest.size()));
    }
    return Hyphenated(option.name) == plain;
}

}  // namespace

const KnownOption* FindKnownOption(int tag) {
    const auto* found = std::ranges::find(KnownOptions, tag, &KnownOption::tag);
    return found != std::end(KnownOptions) ? found : nullptr;
}

const KnownOption* FindKnownOption(std::string_view name) {
    const std::string plain = Hyphenated(name);
    const auto* found = std::ranges::find_if(
        KnownOptions, [&](const KnownOption& option) { return IsAliasOf(option, plain); });
    return found != std::end(KnownOptions) ? found : nullptr;
}

const char* SetByServer(int tag) {
    switch (tag) {
        case 0:
        case 255:
            return "this number is no option";
        case 50:
        case 55:
        case 57:
        case 61:
        case 82:
            return "this option is a client's or a relay agent's";
        case 52:
        case 53:
        case 54:
        case 56:
            return "the server sets this option itself";
        default:
            return nullptr;
    }
}

const char* TypeWord(Shape shape) {
    switch (shape) {
        case Address:
            return "ipaddress";
        case Addresses:
            return "ipaddressarray";
        case Text:
            return "string";
        case Flag:
            return "bool";
        case Bytes:
            return "byte";
        case Numbers:
            return "word";
        case Longs:
            return "int";
        case Seconds:
            return "time";
        case Octets:
        case Domains:
        case Routes:
            break;
    }
    return "multi-byte";
}

}  // namespace quillonctl
