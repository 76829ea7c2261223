#include "quillonctl/import/dnsmasq_config.h"

#include <algorithm>
#include <array>

#include "quillonctl/import/dnsmasq_line.h"
#include "quillonctl/import/option_value.h"
#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

constexpr std::uint32_t ShortestLease = 120;

// Lines about DHCP that change nothing in the reply to a known host.
constexpr std::array WithoutEffect = {
    "dhcp-leasefile",      "dhcp-lease-max",    "dhcp-authoritative", "dhcp-no-override",
    "dhcp-sequential-ip",  "dhcp-script",       "dhcp-luascript",     "dhcp-scriptuser",
    "dhcp-fqdn",           "dhcp-rapid-commit", "dhcp-ttl",           "dhcp-client-update",
    "dhcp-generate-names", "dhcp-ignore-clid",  "dhcp-duid",          "dhcp-hostsdir",
    "script-arp",          "script-on-renewal", "no-dhcp-interface",  "no-dhcpv4-interface",
    "no-dhcpv6-interface"};

// Lines that name other files or services on which clients may depend.
constexpr std::array Elsewhere = {"conf-file",        "conf-dir",       "conf-script",
                                  "read-ethers",      "enable-tftp",    "tftp-root",
                                  "bridge-interface", "shared-network", "tag-if"};

class ConfigReader {
  public:
    ConfigReader(const HostAddresses& names, Import& import) : names_(names), import_(import) {}

    DnsmasqConfig Run(std::string_view text) {
        int number = 0;
        for (const std::string_view line : Lines(text)) {
            DnsmasqLine split = SplitDnsmasqLine(line, ++number);
            if (!split.name.empty()) Read(split);
        }
        return std::move(config_);
    }

  private:
    void Drop(const DnsmasqLine& line, const std::string& why) {
        import_.Drop(line.number, line.name + ": " + why);
    }

    void Read(DnsmasqLine& line) {
        if (line.name == "dhcp-range") return ReadRange(line);
        if (line.name == "dhcp-host") return ReadHost(line);
        if (line.name == "dhcp-option" || line.name == "dhcp-option-force") return ReadOption(line);
        if (line.name == "dhcp-boot") return ReadBoot(line);
        if (line.name == "dhcp-broadcast") return ReadBroadcast(line);
        if (line.name == "dhcp-mac") return ReadMac(line);
        if (line.name == "domain") return ReadDomain(line);
        if (line.name == "port") {
            config_.hasDns = line.items.empty() || line.items[0].text != "0";
            return;
        }
        const auto isIn = [&](const auto& list) { return std::ranges::find(list, line.name) != list.end(); };
        const bool ignoresUnknown = line.name == "dhcp-ignore" && line.items.size() == 1 &&
                                    (line.items[0].text == "tag:!known" || line.items[0].text == "#known");
        if (isIn(WithoutEffect) || ignoresUnknown) return;
        if (line.name.starts_with("dhcp-") || line.name.starts_with("pxe-") || isIn(Elsewhere))
            Drop(line, "isn't carried");
    }

    void ReadRange(DnsmasqLine& line) {
        DnsmasqRange range;
        range.line = line.number;
        if (!TakeConditions(line).empty()) return Drop(line, "a range with a condition isn't carried");
        if (!line.items.empty() && (TakeTag(line.items[0].text, "set:"))) {
            range.tag = line.items[0].text;
            line.items.erase(line.items.begin());
        }
        const auto start = line.items.empty() ? std::nullopt : AddressNumber(line.items[0].text);
        if (!start) return Drop(line, "this is no range of IPv4 addresses");
        range.start = *start;
        std::vector<std::uint32_t> addresses;
        bool isStatic = false;
        for (std::size_t at = 1; at < line.items.size(); ++at) {
            const std::string& item = line.items[at].text;
            if (const auto address = AddressNumber(item))
                addresses.push_back(*address);
            else if (item == "static")
                isStatic = true;
            else if (item == "proxy")
                return Drop(line, "a proxy isn't carried");
            else if (const auto lease = ParseSeconds(item))
                range.lease = std::max(*lease, ShortestLease);
            else
                Drop(line, "'" + item + "' isn't understood");
        }
        // What stands in the end's place of a static range is the mask.
        if (!isStatic && !addresses.empty()) addresses.erase(addresses.begin());
        if (!addresses.empty()) range.mask = addresses[0];
        if (addresses.size() > 1) range.broadcast = addresses[1];
        if (!isStatic)
            Drop(line, "a pool of addresses isn't carried; every client needs an entry of its own");
        config_.ranges.push_back(range);
    }

    static bool IsWildcard(const std::string& item) {
        return item.find('*') != std::string::npos && item.find(':') != std::string::npos;
    }

    // "00:20:e0:3b:13:af", or with its hardware type in front: "06-00:20:e0:3b:13:af".
    static std::optional<std::pair<int, std::string>> ParseHardware(const std::string& item) {
        if (item.find(':') == std::string::npos) return std::nullopt;
        const std::size_t hyphen = item.find('-');
        const auto type = hyphen == std::string::npos ? 1 : ParseNumber("0x" + item.substr(0, hyphen), 255);
        const auto section = SectionNameOf(hyphen == std::string::npos ? item : item.substr(hyphen + 1));
        if (!type || !section) return std::nullopt;
        return std::pair(static_cast<int>(*type), *section);
    }

    void ReadHost(DnsmasqLine& line) {
        DnsmasqHost host;
        host.line = line.number;
        for (ValueItem& value : line.items) {
            std::string& item = value.text;
            if (IsWildcard(item) && !item.starts_with("id:"))
                Drop(line, "'" + item + "' stands for many clients");
            else if (const auto hardware = ParseHardware(item))
                host.hardware.push_back(*hardware);
            else if (TakePrefix(item, "tag:"))
                host.needs.push_back(item);
            else if (TakeTag(item, "set:"))
                host.sets.insert(item);
            else if (item.starts_with("id:"))
                ReadClientIdentifier(line, item);
            else if (item.starts_with('['))
                Drop(line, item + ": IPv6 isn't carried");
            else if (const auto address = AddressNumber(item))
                host.address = address;
            else if (item == "ignore")
                host.isIgnored = true;
            else if (const auto lease = ParseSeconds(item))
                host.lease = std::max(*lease, ShortestLease);
            else if (!item.empty())
                host.name = item;
        }
        config_.hosts.push_back(std::move(host));
    }

    void ReadClientIdentifier(const DnsmasqLine& line, const std::string& item) {
        if (item != "id:*") Drop(line, "'" + item + "': clients are known by their hardware address only");
    }

    // "3", "option:router" or, for a setting of another kind, nothing.
    static std::optional<int> ParseOptionName(std::string word) {
        if (TakePrefix(word, "option:")) {
            const KnownOption* known = FindKnownOption(word);
            return known != nullptr && known->tag > 0 ? std::optional(known->tag) : std::nullopt;
        }
        const auto tag = ParseNumber(word, 254);
        return tag ? std::optional(static_cast<int>(*tag)) : std::nullopt;
    }

    // A letter after a number says how many bytes it takes.
    static std::optional<Shape> TakeWidth(std::string& number) {
        static constexpr std::pair<char, Shape> Widths[] = {
            {'b', Shape::Bytes}, {'s', Shape::Numbers}, {'i', Shape::Longs}};
        for (const auto& [letter, shape] : Widths) {
            if (!number.ends_with(letter) || !ParseNumber(number.substr(0, number.size() - 1))) continue;
            number.pop_back();
            return shape;
        }
        return std::nullopt;
    }

    // The shape of a value whose option has no name: what it looks like.
    static Shape GuessShape(const std::vector<ValueItem>& items) {
        const auto areAll = [&](auto isOne) {
            return std::ranges::all_of(
                items, [&](const ValueItem& item) { return !item.isQuoted && isOne(item.text); });
        };
        const auto isUpTo = [](std::uint32_t largest) {
            return [largest](const std::string& text) { return ParseNumber(text, largest).has_value(); };
        };
        if (areAll([](const std::string& text) { return AddressNumber(text).has_value(); }))
            return Shape::Addresses;
        if (areAll(isUpTo(0xFF))) return Shape::Bytes;
        if (areAll(isUpTo(0xFFFF))) return Shape::Numbers;
        return areAll(isUpTo(0xFFFFFFFF)) ? Shape::Longs : Shape::Text;
    }

    void ReadOption(DnsmasqLine& line) {
        const std::vector<std::string> conditions = TakeConditions(line);
        if (line.items.empty()) return Drop(line, "there is no option");
        const std::string word = line.items[0].text;
        for (const char* kind : {"encap:", "vi-encap:", "vendor:", "option6:", "cpewan"})
            if (word.starts_with(kind))
                return Drop(line, "'" + word + "': options of this kind aren't carried");
        const auto tag = ParseOptionName(word);
        if (!tag) return Drop(line, "'" + word + "': this option isn't known");
        if (const char* reason = SetByServer(*tag)) return Drop(line, reason);
        line.items.erase(line.items.begin());
        const KnownOption* known = FindKnownOption(*tag);
        // Without a value it takes back what the server would send by itself.
        if (line.items.empty() || (line.items.size() == 1 && line.items[0].text.empty())) {
            config_.settings.push_back(
                {conditions, {*tag, known != nullptr ? known->shape : Shape::Octets, {}}, line.number});
            return;
        }
        const bool isOwnAddress = std::ranges::any_of(
            line.items, [](const ValueItem& item) { return !item.isQuoted && item.text == "0.0.0.0"; });
        if (isOwnAddress)
            return Drop(line, "0.0.0.0 stands for dnsmasq's own address, which isn't in this file");
        std::optional<Shape> width;
        for (ValueItem& item : line.items)
            if (const auto own = item.isQuoted ? std::nullopt : TakeWidth(item.text)) width = own;
        const Shape shape = width ? *width : known != nullptr ? known->shape : GuessShape(line.items);
        std::string why;
        auto setting = MakeSetting(*tag, shape, line.items, names_, why);
        if (!setting) return Drop(line, "option " + word + ": " + why);
        config_.settings.push_back({conditions, *setting, line.number});
    }

    void ReadBoot(DnsmasqLine& line) {
        const std::vector<std::string> conditions = TakeConditions(line);
        std::string why = "there is no file name";
        const auto setting =
            line.items.empty() ? std::nullopt : MakeTextSetting(BootFileTag, line.items[0].text, why);
        if (!setting) return Drop(line, why);
        config_.settings.push_back({conditions, *setting, line.number});
        for (std::size_t at = 1; at < line.items.size(); ++at)
            if (!line.items[at].text.empty())
                Drop(line, "'" + line.items[at].text + "': a reply names this server as the next one");
    }

    void ReadBroadcast(DnsmasqLine& line) {
        const std::vector<std::string> conditions = TakeConditions(line);
        config_.settings.push_back({conditions, FlagSetting(BroadcastTag), line.number});
    }

    void ReadMac(DnsmasqLine& line) {
        const bool isPair = line.items.size() == 2 && TakeTag(line.items[0].text, "set:");
        const auto hardware = isPair ? ParseHardware(line.items[1].text) : std::nullopt;
        if (!hardware) return Drop(line, "isn't carried");
        config_.tagsByHardware[hardware->second].insert(line.items[0].text);
    }

    void ReadDomain(const DnsmasqLine& line) {
        if (line.items.empty()) return;
        DnsmasqDomain domain{line.items[0].text, 0, 0};
        if (line.items.size() > 1) {
            const std::vector<std::string> parts = Split(line.items[1].text, "/");
            const auto address = AddressNumber(parts[0]);
            const auto mask = parts.size() == 2 ? MaskOfLength(parts[1]) : std::nullopt;
            if (!address || !mask) return Drop(line, "a domain for these addresses isn't carried");
            domain.address = *address;
            domain.mask = *mask;
        }
        config_.domains.push_back(domain);
    }

    const HostAddresses& names_;
    Import& import_;
    DnsmasqConfig config_;
};

}  // namespace

DnsmasqConfig ReadDnsmasq(std::string_view text, const HostAddresses& names, Import& import) {
    return ConfigReader(names, import).Run(text);
}

}  // namespace quillonctl
