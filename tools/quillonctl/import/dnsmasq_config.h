// What dnsmasq's configuration says about DHCP, line by line, and not yet what follows from it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "quillonctl/import/import_model.h"
#include "quillonctl/import/importers.h"

namespace quillonctl {

inline constexpr std::uint32_t DnsmasqDefaultLease = 3600;

using DnsmasqTags = std::set<std::string>;

// A setting that counts if all its tags are set, or aren't where it says so.
struct DnsmasqSetting {
    std::vector<std::string> tags;
    Setting setting;
    int line = 0;
};

struct DnsmasqRange {
    int line = 0;
    std::string tag;
    std::uint32_t start = 0;
    std::optional<std::uint32_t> mask;
    std::optional<std::uint32_t> broadcast;
    std::uint32_t lease = DnsmasqDefaultLease;
};

struct DnsmasqHost {
    int line = 0;
    std::vector<std::pair<int, std::string>> hardware;  // type and section
    DnsmasqTags sets;
    std::vector<std::string> needs;
    std::optional<std::uint32_t> address;
    std::string name;
    std::optional<std::uint32_t> lease;
    bool isIgnored = false;
};

struct DnsmasqDomain {
    std::string name;
    std::uint32_t address = 0;
    std::uint32_t mask = 0;
};

struct DnsmasqConfig {
    std::vector<DnsmasqSetting> settings;
    std::vector<DnsmasqRange> ranges;
    std::vector<DnsmasqHost> hosts;
    std::vector<DnsmasqDomain> domains;
    std::map<std::string, DnsmasqTags> tagsByHardware;
    bool hasDns = true;
};

// `import` hears of the lines that can't be carried.
DnsmasqConfig ReadDnsmasq(std::string_view text, const HostAddresses& names, Import& import);

}  // namespace quillonctl
