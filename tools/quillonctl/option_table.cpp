#include "quillonctl/option_table.h"

#include <algorithm>
#include <iterator>

namespace quillonctl {
namespace {

using enum OptionType;

// Ascending by code, for the search.
constexpr OptionRow Rows[] = {
    {1, "subnet-mask", Address},
    {2, "time-offset", Int32},
    {3, "routers", Addresses},
    {4, "time-servers", Addresses},
    {5, "name-servers", Addresses},
    {6, "domain-name-servers", Addresses},
    {7, "log-servers", Addresses},
    {8, "cookie-servers", Addresses},
    {9, "lpr-servers", Addresses},
    {10, "impress-servers", Addresses},
    {11, "resource-location-servers", Addresses},
    {12, "host-name", Text},
    {13, "boot-file-size", UInt16},
    {14, "merit-dump-file", Text},
    {15, "domain-name", Text},
    {16, "swap-server", Address},
    {17, "root-path", Text},
    {18, "extensions-path", Text},
    {19, "ip-forwarding", Boolean},
    {20, "non-local-source-routing", Boolean},
    {21, "policy-filter", AddressPairs},
    {22, "maximum-datagram-reassembly-size", UInt16},
    {23, "default-ip-ttl", UInt8},
    {24, "path-mtu-aging-timeout", UInt32},
    {25, "path-mtu-plateau-table", UInt16List},
    {26, "interface-mtu", UInt16},
    {27, "all-subnets-are-local", Boolean},
    {28, "broadcast-address", Address},
    {29, "perform-mask-discovery", Boolean},
    {30, "mask-supplier", Boolean},
    {31, "perform-router-discovery", Boolean},
    {32, "router-solicitation-address", Address},
    {33, "static-routes", AddressPairs},
    {34, "trailer-encapsulation", Boolean},
    {35, "arp-cache-timeout", UInt32},
    {36, "ethernet-encapsulation", Boolean},
    {37, "tcp-default-ttl", UInt8},
    {38, "tcp-keepalive-interval", UInt32},
    {39, "tcp-keepalive-garbage", Boolean},
    {40, "nis-domain", Text},
    {41, "nis-servers", Addresses},
    {42, "ntp-servers", Addresses},
    {43, "vendor-specific-information", Hex},
    {44, "netbios-name-servers", Addresses},
    {45, "netbios-datagram-distribution-servers", Addresses},
    {46, "netbios-node-type", UInt8},
    {47, "netbios-scope", Text},
    {48, "x-window-font-servers", Addresses},
    {49, "x-window-display-managers", Addresses},
    {50, "requested-address", Address},
    {51, "lease-time", UInt32},
    {52, "option-overload", UInt8},
    {53, "message-type", MessageType},
    {54, "server-identifier", Address},
    {55, "parameter-request-list", Codes},
    {56, "message", Text},
    {57, "maximum-message-size", UInt16},
    {58, "renewal-time", UInt32},
    {59, "rebinding-time", UInt32},
    {60, "vendor-class-identifier", Text},
    {61, "client-identifier", Hex},
    {62, "netware-domain", Text},
    {63, "netware-options", Hex},
    {64, "nis+-domain", Text},
    {65, "nis+-servers", Addresses},
    {66, "tftp-server-name", Text},
    {67, "boot-file-name", Text},
    {68, "mobile-ip-home-agents", Addresses},
    {69, "smtp-servers", Addresses},
    {70, "pop3-servers", Addresses},
    {71, "nntp-servers", Addresses},
    {72, "www-servers", Addresses},
    {73, "finger-servers", Addresses},
    {74, "irc-servers", Addresses},
    {75, "streettalk-servers", Addresses},
    {76, "streettalk-directory-assistance-servers", Addresses},
    {77, "user-class", Hex},
    {81, "client-fqdn", Hex},
    {82, "relay-agent-information", Hex},
    {93, "client-architecture", UInt16List},
    {94, "client-network-interface", Hex},
    {97, "client-machine-identifier", Hex},
    {118, "subnet-selection", Address},
    {119, "domain-search", Hex},
    {121, "classless-static-routes", Hex},
    {150, "tftp-server-addresses", Addresses},
};

constexpr const char* MessageTypes[] = {nullptr,       "DHCPDISCOVER", "DHCPOFFER",
                                        "DHCPREQUEST", "DHCPDECLINE",  "DHCPACK",
                                        "DHCPNAK",     "DHCPRELEASE",  "DHCPINFORM"};

}  // namespace

const OptionRow* FindOption(std::uint8_t code) {
    const auto* row = std::ranges::lower_bound(Rows, code, {}, &OptionRow::code);
    return row != std::end(Rows) && row->code == code ? row : nullptr;
}

const char* MessageTypeName(std::uint8_t messageType) {
    return messageType < std::size(MessageTypes) ? MessageTypes[messageType] : nullptr;
}

}  // namespace quillonctl
