#include <algorithm>
#include <array>
#include <cctype>
#include <set>

#include "quillonctl/import/importers.h"
#include "quillonctl/import/option_value.h"
#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

constexpr std::uint32_t DefaultLease = 3600;
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

struct Line {
    int number = 0;
    std::string name;
    std::vector<ValueItem> items;  // what stands after the equals sign, between commas
};

using Tags = std::set<std::string>;

// A setting that counts if all its tags are set, or aren't where it says so.
struct TaggedSetting {
    std::vector<std::string> tags;
    Setting setting;
    int line = 0;
};

struct Range {
    int line = 0;
    std::string tag;
    std::uint32_t start = 0;
    std::optional<std::uint32_t> mask;
    std::optional<std::uint32_t> broadcast;
    std::uint32_t lease = DefaultLease;
};

struct Host {
    int line = 0;
    std::vector<std::pair<int, std::string>> hardware;  // type and section
    Tags sets;
    std::vector<std::string> needs;
    std::optional<std::uint32_t> address;
    std::string name;
    std::optional<std::uint32_t> lease;
    bool isIgnored = false;
};

struct Domain {
    std::string name;
    std::uint32_t address = 0;
    std::uint32_t mask = 0;
};

char Escaped(char letter) {
    static constexpr std::string_view Letters = "trnbe";
    static constexpr std::string_view Meanings = "\t\r\n\b\x1B";
    const std::size_t known = Letters.find(letter);
    return known != std::string_view::npos ? Meanings[known] : letter;
}

// The items of a value. A comma or a '#' in quotes is part of the text.
Line SplitLine(std::string_view text, int number) {
    Line line{number, "", {}};
    ValueItem item;
    bool inQuotes = false;
    bool inValue = false;
    const auto finish = [&] {
        if (!item.isQuoted) item.text = std::string(Trimmed(item.text));
        if (inValue)
            line.items.push_back(std::move(item));
        else
            line.name = item.text;
        item = {};
    };
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        const bool isComment =
            c == '#' && !inQuotes && (at == 0 || std::isspace(static_cast<unsigned char>(text[at - 1])));
        if (isComment) break;
        if (inQuotes && c == '\\' && at + 1 < text.size()) {
            item.text += Escaped(text[++at]);
        } else if (c == '"') {
            inQuotes = !inQuotes;
            if (inQuotes) item.text = std::string(Trimmed(item.text));
            item.isQuoted = true;
        } else if (!inQuotes && ((c == '=' && !inValue) || (c == ',' && inValue))) {
            finish();
            inValue = true;
        } else if (inQuotes || !item.isQuoted || std::isspace(static_cast<unsigned char>(c)) == 0) {
            item.text += c;
        }
    }
    finish();
    return line;
}

bool TakePrefix(std::string& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) return false;
    text.erase(0, prefix.size());
    return true;
}

// A tag that is set, or a condition on one: "net:" is an older word for both.
bool TakeTag(std::string& text, std::string_view word) {
    return TakePrefix(text, word) || TakePrefix(text, "net:");
}

bool Matches(const std::vector<std::string>& conditions, const Tags& tags) {
    return std::ranges::all_of(conditions, [&](const std::string& condition) {
        return condition.starts_with('!') ? !tags.contains(condition.substr(1)) : tags.contains(condition);
    });
}

class DnsmasqImport {
  public:
    DnsmasqImport(const HostAddresses& names, Import& import) : names_(names), import_(import) {}

    void Run(std::string_view text) {
        int number = 0;
        for (const std::string_view line : Lines(text)) {
            Line split = SplitLine(line, ++number);
            if (!split.name.empty()) Read(split);
        }
        DropConditionsOfClients();
        for (const Range& range : ranges_)
            AddRange(range);
        for (const Host& host : hosts_)
            AddHost(host);
    }

  private:
    void Drop(const Line& line, const std::string& why) { import_.Drop(line.number, line.name + ": " + why); }

    void Read(Line& line) {
        if (line.name == "dhcp-range") return ReadRange(line);
        if (line.name == "dhcp-host") return ReadHost(line);
        if (line.name == "dhcp-option" || line.name == "dhcp-option-force") return ReadOption(line);
        if (line.name == "dhcp-boot") return ReadBoot(line);
        if (line.name == "dhcp-broadcast") return ReadBroadcast(line);
        if (line.name == "dhcp-mac") return ReadMac(line);
        if (line.name == "domain") return ReadDomain(line);
        if (line.name == "port") {
            hasDns_ = line.items.empty() || line.items[0].text != "0";
            return;
        }
        const auto isIn = [&](const auto& list) { return std::ranges::find(list, line.name) != list.end(); };
        const bool ignoresUnknown = line.name == "dhcp-ignore" && line.items.size() == 1 &&
                                    (line.items[0].text == "tag:!known" || line.items[0].text == "#known");
        if (isIn(WithoutEffect) || ignoresUnknown) return;
        if (line.name.starts_with("dhcp-") || line.name.starts_with("pxe-") || isIn(Elsewhere))
            Drop(line, "isn't carried");
    }

    // Takes the conditions off the front of a line.
    static std::vector<std::string> TakeConditions(Line& line) {
        std::vector<std::string> conditions;
        while (!line.items.empty() && !line.items[0].isQuoted && TakeTag(line.items[0].text, "tag:")) {
            conditions.push_back(line.items[0].text);
            line.items.erase(line.items.begin());
        }
        return conditions;
    }

    void ReadRange(Line& line) {
        Range range;
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
        ranges_.push_back(range);
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

    void ReadHost(Line& line) {
        Host host;
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
        hosts_.push_back(std::move(host));
    }

    void ReadClientIdentifier(const Line& line, const std::string& item) {
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

    void ReadOption(Line& line) {
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
            settings_.push_back(
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
        settings_.push_back({conditions, *setting, line.number});
    }

    void ReadBoot(Line& line) {
        const std::vector<std::string> conditions = TakeConditions(line);
        std::string why = "there is no file name";
        const auto setting =
            line.items.empty() ? std::nullopt : MakeTextSetting(BootFileTag, line.items[0].text, why);
        if (!setting) return Drop(line, why);
        settings_.push_back({conditions, *setting, line.number});
        for (std::size_t at = 1; at < line.items.size(); ++at)
            if (!line.items[at].text.empty())
                Drop(line, "'" + line.items[at].text + "': a reply names this server as the next one");
    }

    void ReadBroadcast(Line& line) {
        const std::vector<std::string> conditions = TakeConditions(line);
        settings_.push_back({conditions, FlagSetting(BroadcastTag), line.number});
    }

    void ReadMac(Line& line) {
        const bool isPair = line.items.size() == 2 && TakeTag(line.items[0].text, "set:");
        const auto hardware = isPair ? ParseHardware(line.items[1].text) : std::nullopt;
        if (!hardware) return Drop(line, "isn't carried");
        tagsByHardware_[hardware->second].insert(line.items[0].text);
    }

    void ReadDomain(const Line& line) {
        if (line.items.empty()) return;
        Domain domain{line.items[0].text, 0, 0};
        if (line.items.size() > 1) {
            const std::vector<std::string> parts = Split(line.items[1].text, "/");
            const auto address = AddressNumber(parts[0]);
            const auto mask = parts.size() == 2 ? MaskOfLength(parts[1]) : std::nullopt;
            if (!address || !mask) return Drop(line, "a domain for these addresses isn't carried");
            domain.address = *address;
            domain.mask = *mask;
        }
        domains_.push_back(domain);
    }

    // A tag that neither a host nor a range of this file sets depends on what a client sends.
    void DropConditionsOfClients() {
        Tags fixed = {"known"};
        for (const Range& range : ranges_)
            fixed.insert(range.tag);
        for (const Host& host : hosts_)
            fixed.insert(host.sets.begin(), host.sets.end());
        for (const auto& [hardware, tags] : tagsByHardware_)
            fixed.insert(tags.begin(), tags.end());
        std::erase_if(settings_, [&](const TaggedSetting& row) {
            const auto open = std::ranges::find_if(row.tags, [&](const std::string& tag) {
                return !tag.starts_with('!') && !fixed.contains(tag);
            });
            if (open == row.tags.end()) return false;
            import_.Drop(row.line, "tag '" + *open + "' depends on the client's request");
            return true;
        });
    }

    // Later lines win over earlier ones, those with tags over those without; the range's own tag counts least
    // among the tags, but not for boot files.
    SettingList Effective(const Tags& tags, const std::string& rangeTag, const SettingList& defaults) const {
        SettingList settings = defaults;
        for (int rank = 0; rank < 3; ++rank) {
            for (const TaggedSetting& row : settings_) {
                const bool isOfRange = std::ranges::find(row.tags, rangeTag) != row.tags.end();
                const bool isSecond = isOfRange && row.setting.tag != BootFileTag;
                const int ownRank = row.tags.empty() ? 0 : isSecond ? 1 : 2;
                if (ownRank == rank && Matches(row.tags, tags)) settings.Put(row.setting);
            }
        }
        return settings;
    }

    SettingList Defaults(const Range& range) const {
        SettingList settings;
        if (range.mask) {
            settings.Put(AddressSetting(SubnetMaskTag, *range.mask));
            const std::uint32_t last = range.broadcast.value_or(range.start | ~*range.mask);
            settings.Put(AddressSetting(BroadcastAddressTag, last));
        }
        settings.Put(SecondsSetting(LeaseTimeTag, range.lease));
        // A domain for some addresses goes before the one for all.
        for (const bool isForSome : {false, true}) {
            for (const Domain& domain : domains_) {
                const bool covers = ((range.start ^ domain.address) & domain.mask) == 0;
                std::string why;
                const auto setting = MakeTextSetting(DomainTag, domain.name, why);
                if (covers && setting && (domain.mask != 0) == isForSome) settings.Put(*setting);
            }
        }
        return settings;
    }

    std::string NameOf(const Range& range) const {
        if (!range.mask) return "range " + AddressText(range.start);
        return AddressText(range.start & *range.mask) + "/" + std::to_string(LengthOfMask(*range.mask));
    }

    std::size_t TemplateOf(const Range& range, Tags tags) {
        std::string name = NameOf(range);
        for (const std::string& tag : tags)
            name += " " + tag;
        tags.insert("known");
        if (!range.tag.empty()) tags.insert(range.tag);
        return import_.Template(name, Effective(tags, range.tag, Defaults(range)));
    }

    // What dnsmasq would add by itself, and this file doesn't say.
    void AddRange(const Range& range) {
        const SettingList& settings = import_.Templates()[TemplateOf(range, {})].settings;
        if (!range.mask)
            import_.Drop(range.line,
                         "dhcp-range: dnsmasq takes the netmask from its interface; put it after the range");
        constexpr const char* Own = "dnsmasq gives its own address, which isn't in this file; say it with ";
        if (!settings.Has(GatewayTag))
            import_.Drop(range.line, std::string("dhcp-range: as router ") + Own + "option:router");
        if (hasDns_ && !settings.Has(NameServerTag))
            import_.Drop(range.line, std::string("dhcp-range: as DNS server ") + Own + "option:dns-server");
    }

    // The range on whose subnet the address lies. One without a mask is tried last, and has the address if
    // the first three bytes are the same.
    const Range* RangeOf(std::uint32_t address) const {
        constexpr std::uint32_t UsualMask = 0xFFFFFF00;
        const Range* guess = nullptr;
        for (const Range& range : ranges_) {
            const bool isInside = ((range.start ^ address) & range.mask.value_or(UsualMask)) == 0;
            if (isInside && range.mask) return &range;
            if (isInside && guess == nullptr) guess = &range;
        }
        return guess;
    }

    void AddHost(const Host& host) {
        if (host.isIgnored) return;
        auto address = host.address;
        const auto named = names_.find(Lower(host.name));
        if (!address && named != names_.end()) address = AddressNumber(named->second);
        const auto drop = [&](const std::string& why) { import_.Drop(host.line, "dhcp-host: " + why); };
        if (host.hardware.empty()) return drop("there is no hardware address");
        if (!address) return drop("there is no IPv4 address");
        const Range* range = RangeOf(*address);
        if (range == nullptr) return drop(AddressText(*address) + " is in no range of this file");
        if (!Matches(host.needs, {range->tag})) return drop("a host with a condition isn't carried");
        for (const auto& [type, section] : host.hardware) {
            Tags tags = host.sets;
            const auto more = tagsByHardware_.find(section);
            if (more != tagsByHardware_.end()) tags.insert(more->second.begin(), more->second.end());
            ImportedHost entry{section, host.name, host.line, TemplateOf(*range, tags), {}};
            entry.settings.Put(AddressSetting(AddressTag, *address));
            std::string why;
            const bool hasName = import_.Templates()[*entry.templateIndex].settings.Has(HostNameTag);
            const auto name = MakeTextSetting(HostNameTag, host.name, why);
            if (name && !hasName) entry.settings.Put(*name);
            if (host.lease) entry.settings.Put(SecondsSetting(LeaseTimeTag, *host.lease));
            if (type != 1) entry.settings.Put({HardwareTypeTag, Shape::Bytes, std::to_string(type)});
            import_.Add(std::move(entry));
        }
    }

    const HostAddresses& names_;
    Import& import_;
    std::vector<TaggedSetting> settings_;
    std::vector<Range> ranges_;
    std::vector<Host> hosts_;
    std::vector<Domain> domains_;
    std::map<std::string, Tags> tagsByHardware_;
    bool hasDns_ = true;
};

}  // namespace

void ImportDnsmasq(std::string_view text, const HostAddresses& names, Import& import) {
    DnsmasqImport(names, import).Run(text);
}

}  // namespace quillonctl
