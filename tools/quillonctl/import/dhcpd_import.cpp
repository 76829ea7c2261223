#include <algorithm>
#include <array>
#include <deque>
#include <memory>

#include "quillonctl/import/dhcpd_syntax.h"
#include "quillonctl/import/importers.h"
#include "quillonctl/import/option_value.h"
#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

constexpr std::uint32_t DefaultLease = 43200;
constexpr std::uint32_t LongestLease = 86400;  // unless max-lease-time says otherwise

// Statements that change nothing in the reply to a host with a fixed address.
constexpr std::array WithoutEffect = {"authoritative",
                                      "not",
                                      "log-facility",
                                      "lease-file-name",
                                      "pid-file-name",
                                      "omapi-port",
                                      "omapi-key",
                                      "one-lease-per-client",
                                      "ping-check",
                                      "ping-timeout",
                                      "min-lease-time",
                                      "abandon-lease-time",
                                      "adaptive-lease-time-threshold",
                                      "do-forward-updates",
                                      "update-static-leases",
                                      "update-optimization",
                                      "update-conflict-detection",
                                      "client-updates",
                                      "db-time-format",
                                      "infinite-is-reserved",
                                      "always-reply-rfc1048",
                                      "boot-unknown-clients",
                                      "stash-agent-options",
                                      "dynamic-bootp-lease-cutoff",
                                      "dynamic-bootp-lease-length",
                                      "delayed-ack",
                                      "max-ack-delay",
                                      "local-port",
                                      "interface",
                                      "key",
                                      "zone",
                                      "remote-port",
                                      "limit-addrs-per-ia",
                                      "server-id-check",
                                      "ignore-client-uids",
                                      "echo-client-id",
                                      "min-secs"};

// What can be allowed or denied without an effect on such a host.
constexpr std::array AccessWithoutEffect = {"unknown-clients", "client-updates", "duplicates",    "declines",
                                            "leasequery",      "unknown",        "known-clients", "known"};

template <std::size_t Size>
bool IsOneOf(const DhcpdToken& word, const std::array<const char*, Size>& known) {
    return std::ranges::any_of(known, [&](const char* name) { return word.Is(name); });
}

struct Scope {
    const Scope* outer = nullptr;
    std::string name;
    bool isSubnet = false;
    std::uint32_t address = 0;
    std::uint32_t mask = 0;
    SettingList settings;
    std::optional<std::uint32_t> longestLease;
    std::optional<bool> namesHosts;  // use-host-decl-names
    bool isServed = true;            // false after "deny booting"
};

struct HostDeclaration {
    Scope scope;  // its own statements
    int line = 0;
    int hardwareType = 1;
    std::string section;
    std::vector<DhcpdToken> addresses;
    bool hasClientIdentifier = false;
};

struct OptionDefinition {
    int tag;
    Shape shape;
};

class DhcpdImport {
  public:
    DhcpdImport(const HostAddresses& names, Import& import) : names_(names), import_(import) {
        global_.settings.Put(SecondsSetting(LeaseTimeTag, DefaultLease));
    }

    void Run(const std::vector<DhcpdStatement>& statements) {
        ReadScope(statements, global_);
        for (const auto& scope : scopes_)
            if (scope->isSubnet) TemplateOf(Chain(*scope));
        for (const HostDeclaration& host : hosts_)
            AddHost(host);
    }

  private:
    using ScopeChain = std::vector<const Scope*>;

    void Drop(const DhcpdStatement& statement, const std::string& why) {
        std::string text;
        for (const DhcpdToken& word : statement.words)
            text += (text.empty() || word.Is(",") ? "" : " ") + word.text;
        constexpr std::size_t Enough = 60;
        if (text.size() > Enough) text = text.substr(0, Enough) + "...";
        import_.Drop(statement.Line(), "'" + text + "': " + why);
    }

    void ReadScope(const std::vector<DhcpdStatement>& statements, Scope& scope) {
        for (const DhcpdStatement& statement : statements)
            ReadStatement(statement, scope);
    }

    void ReadStatement(const DhcpdStatement& statement, Scope& scope) {
        if (statement.hasBlock)
            ReadBlock(statement, scope);
        else if (statement.Begins("option"))
            ReadOption(statement, scope);
        else if (statement.Begins("allow") || statement.Begins("deny") || statement.Begins("ignore"))
            ReadAccess(statement, scope);
        else if (!ReadParameter(statement, scope) && !HasNoEffect(statement.words[0]))
            Drop(statement, "isn't carried");
    }

    static bool HasNoEffect(const DhcpdToken& word) {
        return IsOneOf(word, WithoutEffect) || (!word.isQuoted && Lower(word.text).starts_with("ddns-"));
    }

    void ReadBlock(const DhcpdStatement& statement, Scope& scope) {
        const auto& words = statement.words;
        if (statement.Begins("host") && words.size() == 2)
            ReadHost(statement, scope);
        else if (statement.Begins("subnet") && words.size() == 4 && words[2].Is("netmask"))
            ReadSubnet(statement, scope);
        else if (statement.Begins("shared-network"))
            ReadScope(statement.block, NewScope(scope, ""));
        else if (statement.Begins("group"))
            ReadScope(statement.block, NewScope(scope, "group " + std::to_string(++groups_)));
        else if (statement.Begins("pool"))
            Drop(statement, "a pool of addresses isn't carried; every client needs an entry of its own");
        else if (!HasNoEffect(words[0]))
            Drop(statement, "isn't carried, with all that is in its block");
    }

    Scope& NewScope(const Scope& outer, std::string name) {
        scopes_.push_back(std::make_unique<Scope>());
        scopes_.back()->outer = &outer;
        scopes_.back()->name = std::move(name);
        return *scopes_.back();
    }

    void ReadSubnet(const DhcpdStatement& statement, Scope& outer) {
        const auto address = AddressNumber(statement.words[1].text);
        const auto mask = AddressNumber(statement.words[3].text);
        if (!address || !mask) return Drop(statement, "this is no address with a mask");
        Scope& scope = NewScope(outer, AddressText(*address) + "/" + std::to_string(LengthOfMask(*mask)));
        scope.isSubnet = true;
        scope.address = *address;
        scope.mask = *mask;
        scope.settings.Put(AddressSetting(SubnetMaskTag, *mask));
        ReadScope(statement.block, scope);
    }

    void ReadHost(const DhcpdStatement& statement, const Scope& outer) {
        HostDeclaration& host = hosts_.emplace_back();
        host.line = statement.Line();
        host.scope.outer = &outer;
        host.scope.name = statement.words[1].text;
        for (const DhcpdStatement& inner : statement.block)
            if (!ReadIdentity(inner, host)) ReadStatement(inner, host.scope);
    }

    // What says whose declaration it is, and the address.
    bool ReadIdentity(const DhcpdStatement& statement, HostDeclaration& host) {
        const auto& words = statement.words;
        if (statement.Begins("fixed-address")) {
            std::copy_if(words.begin() + 1, words.end(), std::back_inserter(host.addresses),
                         [](const DhcpdToken& word) { return !word.Is(","); });
            return true;
        }
        if (statement.Begins("hardware") && words.size() == 3) {
            static constexpr std::pair<const char*, int> Types[] = {
                {"ethernet", 1}, {"token-ring", 6}, {"fddi", 8}, {"infiniband", 32}};
            const auto* type =
                std::ranges::find_if(Types, [&](const auto& row) { return words[1].Is(row.first); });
            const auto section = SectionNameOf(words[2].text);
            if (type == std::end(Types) || !section) {
                Drop(statement, "this is no hardware address that is known here");
            } else {
                host.hardwareType = type->second;
                host.section = *section;
            }
            return true;
        }
        const bool isIdentifier = words.size() > 1 && words[1].Is("dhcp-client-identifier");
        host.hasClientIdentifier |= isIdentifier || words[0].Is("host-identifier") || words[0].Is("uid");
        return isIdentifier || words[0].Is("host-identifier") || words[0].Is("uid") || words[0].Is("dynamic");
    }

    void ReadAccess(const DhcpdStatement& statement, Scope& scope) {
        const auto& words = statement.words;
        const bool isBooting = words.size() == 2 && (words[1].Is("booting") || words[1].Is("bootp"));
        if (isBooting && statement.Begins("allow"))
            scope.isServed = true;
        else if (isBooting && words[1].Is("booting"))
            scope.isServed = false;
        else if (words.size() < 2 || !IsOneOf(words[1], AccessWithoutEffect))
            Drop(statement, "isn't carried");
    }

    bool ReadParameter(const DhcpdStatement& statement, Scope& scope) {
        const auto& words = statement.words;
        if (statement.Begins("range")) {
            Drop(statement, "a pool of addresses isn't carried; every client needs an entry of its own");
        } else if (statement.Begins("next-server")) {
            Drop(statement, "a reply names this server as the next one");
        } else if (statement.Begins("server-name")) {
            Drop(statement, "a reply has this host's own name");
        } else if (words.size() != 2) {
            return false;
        } else if (statement.Begins("filename")) {
            Put(statement, BootFileTag, Shape::Text, {{words[1].text, true}}, scope);
        } else if (statement.Begins("default-lease-time")) {
            Put(statement, LeaseTimeTag, Shape::Seconds, {{words[1].text}}, scope);
        } else if (statement.Begins("max-lease-time")) {
            scope.longestLease = ParseSeconds(words[1].text);
        } else if (statement.Begins("use-host-decl-names")) {
            scope.namesHosts = IsOn(words[1]);
        } else if (statement.Begins("always-broadcast")) {
            scope.settings.Put({BroadcastTag, Shape::Flag, IsOn(words[1]) ? "1" : "0"});
        } else if (statement.Begins("get-lease-hostnames")) {
            if (IsOn(words[1])) Drop(statement, "names aren't looked up");
        } else {
            return false;
        }
        return true;
    }

    static bool IsOn(const DhcpdToken& word) { return word.Is("on") || word.Is("true"); }

    void Put(const DhcpdStatement& statement, int tag, Shape shape, const std::vector<ValueItem>& items,
             Scope& scope) {
        std::string why;
        // Nothing said is nothing sent.
        if (items.size() == 1 && items[0].isQuoted && items[0].text.empty())
            return scope.settings.Remove(tag);
        auto setting = MakeSetting(tag, shape, items, names_, why);
        if (!setting) return Drop(statement, why);
        scope.settings.Put(std::move(*setting));
    }

    void ReadOption(const DhcpdStatement& statement, Scope& scope) {
        const auto& words = statement.words;
        if (words.size() < 3) return Drop(statement, "there is no value");
        if (words[1].Is("space")) return;  // what stands in it is dropped where it is used
        if (words[2].Is("code")) return ReadDefinition(statement);
        const auto definition = Find(words[1].text);
        if (!definition) return Drop(statement, "this option isn't known");
        if (const char* reason = SetByServer(definition->tag)) return Drop(statement, reason);
        std::vector<ValueItem> items;
        for (std::size_t at = 2; at < words.size(); ++at) {
            if (words[at].Is("=") || words[at].Is("(")) return Drop(statement, "expressions aren't carried");
            if (!words[at].Is(",")) items.push_back({words[at].text, words[at].isQuoted});
        }
        Put(statement, definition->tag, definition->shape, items, scope);
    }

    std::optional<OptionDefinition> Find(const std::string& name) const {
        const auto own = definitions_.find(Lower(name));
        if (own != definitions_.end()) return own->second;
        if (const KnownOption* known = FindKnownOption(name); known != nullptr && known->tag > 0)
            return OptionDefinition{known->tag, known->shape};
        constexpr std::string_view ByNumber = "option-";
        if (!Lower(name).starts_with(ByNumber)) return std::nullopt;
        const auto tag = ParseNumber(std::string_view(name).substr(ByNumber.size()), 254);
        if (!tag) return std::nullopt;
        return OptionDefinition{static_cast<int>(*tag), Shape::Octets};
    }

    // "option NAME code NUMBER = TYPE".
    void ReadDefinition(const DhcpdStatement& statement) {
        const auto& words = statement.words;
        const auto tag = words.size() > 5 ? ParseNumber(words[3].text, 254) : std::nullopt;
        std::size_t at = 5;
        if (at + 1 < words.size() && words[at].Is("array") && words[at + 1].Is("of")) at += 2;
        if (at < words.size() && (words[at].Is("unsigned") || words[at].Is("signed"))) ++at;
        const auto shape = at < words.size() ? ShapeOf(words, at) : std::nullopt;
        const bool isOfSpace = words[1].text.find('.') != std::string::npos;
        if (!tag || !words[4].Is("=") || !shape || isOfSpace)
            return Drop(statement, "options of this kind aren't carried");
        definitions_[Lower(words[1].text)] = {static_cast<int>(*tag), *shape};
    }

    static std::optional<Shape> ShapeOf(const std::vector<DhcpdToken>& words, std::size_t at) {
        static constexpr std::pair<const char*, Shape> Shapes[] = {
            {"ip-address", Shape::Addresses}, {"text", Shape::Text},
            {"string", Shape::Octets},        {"boolean", Shape::Flag},
            {"domain-list", Shape::Domains},  {"domain-name", Shape::Domains}};
        for (const auto& [word, shape] : Shapes)
            if (words[at].Is(word)) return shape;
        if (!words[at].Is("integer") || at + 1 >= words.size()) return std::nullopt;
        if (words[at + 1].Is("8")) return Shape::Bytes;
        if (words[at + 1].Is("16")) return Shape::Numbers;
        return words[at + 1].Is("32") ? std::optional(Shape::Longs) : std::nullopt;
    }

    // From the widest scope to this one.
    ScopeChain Chain(const Scope& scope) const {
        ScopeChain chain;
        for (const Scope* at = &scope; at != nullptr; at = at->outer)
            chain.insert(chain.begin(), at);
        return chain;
    }

    const Scope* SubnetOf(std::uint32_t address) const {
        const Scope* narrowest = nullptr;
        for (const auto& scope : scopes_) {
            if (!scope->isSubnet || (address & scope->mask) != (scope->address & scope->mask)) continue;
            if (narrowest == nullptr || scope->mask > narrowest->mask) narrowest = scope.get();
        }
        return narrowest;
    }

    std::size_t TemplateOf(const ScopeChain& chain) {
        SettingList settings;
        std::string name;
        for (const Scope* scope : chain) {
            settings.PutAll(scope->settings);
            if (!scope->name.empty()) name += (name.empty() ? "" : " ") + scope->name;
        }
        std::uint32_t longest = LongestLease;
        for (const Scope* scope : chain)
            longest = scope->longestLease.value_or(longest);
        const Setting* lease = settings.Find(LeaseTimeTag);
        if (lease != nullptr && ParseSeconds(*lease->value).value_or(0) > longest)
            settings.Put(SecondsSetting(LeaseTimeTag, longest));
        return import_.Template(name, settings);
    }

    // Why the host gets no entry; null if it gets one.
    const char* Obstacle(const HostDeclaration& host) const {
        if (host.section.empty())
            return host.hasClientIdentifier ? "a client without a hardware address can't be named here"
                                            : "there is no hardware address";
        if (host.addresses.empty()) return "there is no fixed address";
        return nullptr;
    }

    void AddHost(const HostDeclaration& host) {
        const std::string who = "host " + host.scope.name + ": ";
        if (const char* obstacle = Obstacle(host)) return import_.Drop(host.line, who + obstacle);
        std::string why;
        const auto address = MakeSetting(AddressTag, Shape::Address, {{host.addresses[0].text}}, names_, why);
        if (!address) return import_.Drop(host.line, who + why);
        for (std::size_t at = 1; at < host.addresses.size(); ++at)
            import_.Drop(host.addresses[at].line, who + "one client has one address here, and " +
                                                      host.addresses[at].text + " is another one");
        const Scope* subnet = SubnetOf(*AddressNumber(*address->value));
        if (subnet == nullptr)
            return import_.Drop(host.line, who + *address->value + " is in no subnet of this file");
        // The scopes around the subnet come first, then those around the host that aren't among them.
        ScopeChain chain = Chain(*subnet);
        for (const Scope* scope : Chain(*host.scope.outer))
            if (std::ranges::find(chain, scope) == chain.end()) chain.push_back(scope);
        AddToImport(host, *address, chain);
    }

    void AddToImport(const HostDeclaration& host, const Setting& address, const ScopeChain& chain) {
        bool isServed = host.scope.isServed;
        bool namesHost = false;
        for (const Scope* scope : chain) {
            isServed = isServed && scope->isServed;
            namesHost = scope->namesHosts.value_or(namesHost);
        }
        if (!isServed) return;
        ImportedHost entry;
        entry.section = host.section;
        entry.name = host.scope.name;
        entry.line = host.line;
        entry.templateIndex = TemplateOf(chain);
        entry.settings.Put(address);
        const SettingList& shared = import_.Templates()[*entry.templateIndex].settings;
        const bool hasName = host.scope.settings.Has(HostNameTag) || shared.Has(HostNameTag);
        std::string why;
        if (host.scope.namesHosts.value_or(namesHost) && !hasName)
            if (auto name = MakeTextSetting(HostNameTag, host.scope.name, why)) entry.settings.Put(*name);
        if (host.hardwareType != 1)
            entry.settings.Put({HardwareTypeTag, Shape::Bytes, std::to_string(host.hardwareType)});
        entry.settings.PutAll(host.scope.settings);
        import_.Add(std::move(entry));
    }

    const HostAddresses& names_;
    Import& import_;
    Scope global_;
    std::vector<std::unique_ptr<Scope>> scopes_;
    std::deque<HostDeclaration> hosts_;  // their scopes stay where they are
    std::map<std::string, OptionDefinition> definitions_;
    int groups_ = 0;
};

}  // namespace

void ImportDhcpd(std::string_view text, const HostAddresses& names, Import& import) {
    const std::vector<DhcpdStatement> statements = ParseDhcpd(text, import);
    DhcpdImport(names, import).Run(statements);
}

}  // namespace quillonctl
