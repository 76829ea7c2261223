#include <algorithm>

#include "quillonctl/import/dnsmasq_config.h"
#include "quillonctl/import/importers.h"
#include "quillonctl/import/option_value.h"
#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

bool Matches(const std::vector<std::string>& conditions, const DnsmasqTags& tags) {
    return std::ranges::all_of(conditions, [&](const std::string& condition) {
        return condition.starts_with('!') ? !tags.contains(condition.substr(1)) : tags.contains(condition);
    });
}

class DnsmasqImport {
  public:
    DnsmasqImport(DnsmasqConfig config, const HostAddresses& names, Import& import)
        : config_(std::move(config)), names_(names), import_(import) {}

    void Run() {
        DropConditionsOfClients();
        for (const DnsmasqRange& range : config_.ranges)
            AddRange(range);
        for (const DnsmasqHost& host : config_.hosts)
            AddHost(host);
    }

  private:
    // A tag that neither a host nor a range of this file sets depends on what a client sends.
    void DropConditionsOfClients() {
        DnsmasqTags fixed = {"known"};
        for (const DnsmasqRange& range : config_.ranges)
            fixed.insert(range.tag);
        for (const DnsmasqHost& host : config_.hosts)
            fixed.insert(host.sets.begin(), host.sets.end());
        for (const auto& [hardware, tags] : config_.tagsByHardware)
            fixed.insert(tags.begin(), tags.end());
        std::erase_if(config_.settings, [&](const DnsmasqSetting& row) {
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
    SettingList Effective(const DnsmasqTags& tags, const std::string& rangeTag,
                          const SettingList& defaults) const {
        SettingList settings = defaults;
        for (int rank = 0; rank < 3; ++rank) {
            for (const DnsmasqSetting& row : config_.settings) {
                const bool isOfRange = std::ranges::find(row.tags, rangeTag) != row.tags.end();
                const bool isSecond = isOfRange && row.setting.tag != BootFileTag;
                const int ownRank = row.tags.empty() ? 0 : isSecond ? 1 : 2;
                if (ownRank == rank && Matches(row.tags, tags)) settings.Put(row.setting);
            }
        }
        return settings;
    }

    SettingList Defaults(const DnsmasqRange& range) const {
        SettingList settings;
        if (range.mask) {
            settings.Put(AddressSetting(SubnetMaskTag, *range.mask));
            const std::uint32_t last = range.broadcast.value_or(range.start | ~*range.mask);
            settings.Put(AddressSetting(BroadcastAddressTag, last));
        }
        settings.Put(SecondsSetting(LeaseTimeTag, range.lease));
        // A domain for some addresses goes before the one for all.
        for (const bool isForSome : {false, true}) {
            for (const DnsmasqDomain& domain : config_.domains) {
                const bool covers = ((range.start ^ domain.address) & domain.mask) == 0;
                std::string why;
                const auto setting = MakeTextSetting(DomainTag, domain.name, why);
                if (covers && setting && (domain.mask != 0) == isForSome) settings.Put(*setting);
            }
        }
        return settings;
    }

    std::string NameOf(const DnsmasqRange& range) const {
        if (!range.mask) return "range " + AddressText(range.start);
        return AddressText(range.start & *range.mask) + "/" + std::to_string(LengthOfMask(*range.mask));
    }

    std::size_t TemplateOf(const DnsmasqRange& range, DnsmasqTags tags) {
        std::string name = NameOf(range);
        for (const std::string& tag : tags)
            name += " " + tag;
        tags.insert("known");
        if (!range.tag.empty()) tags.insert(range.tag);
        return import_.Template(name, Effective(tags, range.tag, Defaults(range)));
    }

    // What dnsmasq would add by itself, and this file doesn't say.
    void AddRange(const DnsmasqRange& range) {
        const SettingList& settings = import_.Templates()[TemplateOf(range, {})].settings;
        if (!range.mask)
            import_.Drop(range.line,
                         "dhcp-range: dnsmasq takes the netmask from its interface; put it after the range");
        constexpr const char* Own = "dnsmasq gives its own address, which isn't in this file; say it with ";
        if (!settings.Has(GatewayTag))
            import_.Drop(range.line, std::string("dhcp-range: as router ") + Own + "option:router");
        if (config_.hasDns && !settings.Has(NameServerTag))
            import_.Drop(range.line, std::string("dhcp-range: as DNS server ") + Own + "option:dns-server");
    }

    // The range on whose subnet the address lies. One without a mask is tried last, and has the address if
    // the first three bytes are the same.
    const DnsmasqRange* RangeOf(std::uint32_t address) const {
        constexpr std::uint32_t UsualMask = 0xFFFFFF00;
        const DnsmasqRange* guess = nullptr;
        for (const DnsmasqRange& range : config_.ranges) {
            const bool isInside = ((range.start ^ address) & range.mask.value_or(UsualMask)) == 0;
            if (isInside && range.mask) return &range;
            if (isInside && guess == nullptr) guess = &range;
        }
        return guess;
    }

    void AddHost(const DnsmasqHost& host) {
        if (host.isIgnored) return;
        auto address = host.address;
        const auto named = names_.find(Lower(host.name));
        if (!address && named != names_.end()) address = AddressNumber(named->second);
        const auto drop = [&](const std::string& why) { import_.Drop(host.line, "dhcp-host: " + why); };
        if (host.hardware.empty()) return drop("there is no hardware address");
        if (!address) return drop("there is no IPv4 address");
        const DnsmasqRange* range = RangeOf(*address);
        if (range == nullptr) return drop(AddressText(*address) + " is in no range of this file");
        if (!Matches(host.needs, {range->tag})) return drop("a host with a condition isn't carried");
        for (const auto& [type, section] : host.hardware) {
            DnsmasqTags tags = host.sets;
            const auto more = config_.tagsByHardware.find(section);
            if (more != config_.tagsByHardware.end()) tags.insert(more->second.begin(), more->second.end());
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

    DnsmasqConfig config_;
    const HostAddresses& names_;
    Import& import_;
};

}  // namespace

void ImportDnsmasq(std::string_view text, const HostAddresses& names, Import& import) {
    DnsmasqImport(ReadDnsmasq(text, names, import), names, import).Run();
}

}  // namespace quillonctl
