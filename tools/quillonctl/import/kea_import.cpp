#include <algorithm>
#include <array>

#include "quillonctl/import/importers.h"
#include "quillonctl/import/json_tree.h"
#include "quillonctl/import/option_value.h"
#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

constexpr std::uint32_t DefaultLease = 7200;

// What a scope may have beside its settings without an effect on the reply to a reserved client.
constexpr std::array WithoutEffect = {"comment",
                                      "user-context",
                                      "id",
                                      "interface",
                                      "relay",
                                      "pools",
                                      "subnet",
                                      "name",
                                      "subnet4",
                                      "subnet6",
                                      "shared-networks",
                                      "reservations",
                                      "option-data",
                                      "option-def",
                                      "client-classes",
                                      "interfaces-config",
                                      "control-socket",
                                      "lease-database",
                                      "expired-leases-processing",
                                      "loggers",
                                      "dhcp-ddns",
                                      "multi-threading",
                                      "sanity-checks",
                                      "dhcp-queue-control",
                                      "hostname-char-set",
                                      "hostname-char-replacement",
                                      "statistic-default-sample-count",
                                      "statistic-default-sample-age",
                                      "authoritative",
                                      "match-client-id",
                                      "echo-client-id",
                                      "reservation-mode",
                                      "reservations-global",
                                      "reservations-in-subnet",
                                      "reservations-out-of-pool",
                                      "host-reservation-identifiers",
                                      "decline-probation-period",
                                      "server-tag",
                                      "min-valid-lifetime",
                                      "max-valid-lifetime",
                                      "cache-threshold",
                                      "cache-max-age",
                                      "store-extended-info",
                                      "calculate-tee-times",
                                      "t1-percent",
                                      "t2-percent",
                                      "test",
                                      "only-if-required",
                                      "ip-reservations-unique",
                                      "early-global-reservations-lookup",
                                      "reservations-lookup-first",
                                      "compatibility",
                                      "parked-packet-limit",
                                      "config-control",
                                      "4o6-interface",
                                      "4o6-interface-id",
                                      "4o6-subnet",
                                      "dhcp4o6-port",
                                      "offer-lifetime",
                                      "hw-address",
                                      "ip-address",
                                      "hostname",
                                      "duid",
                                      "client-id",
                                      "circuit-id",
                                      "flex-id"};

struct OptionDefinition {
    int tag;
    Shape shape;
};

struct Subnet {
    const JsonNode* node = nullptr;
    std::uint32_t address = 0;
    std::uint32_t mask = 0;
    std::string name;
    SettingList network;  // of the shared network around it
    SettingList own;
};

class KeaImport {
  public:
    explicit KeaImport(Import& import) : import_(import) {}

    void Run(const JsonNode& file) {
        const JsonNode* server = file.Find("Dhcp4");
        if (server == nullptr) return import_.Drop(1, "there is no \"Dhcp4\" here");
        for (const JsonNode& definition : server->ItemsOf("option-def"))
            ReadDefinition(definition);
        global_.Put(SecondsSetting(LeaseTimeTag, DefaultLease));
        ReadScope(*server, global_);
        for (const JsonNode& node : server->ItemsOf("client-classes"))
            ReadClass(node);
        for (const JsonNode& network : server->ItemsOf("shared-networks")) {
            SettingList settings;
            ReadScope(network, settings);
            DropAll(network.ItemsOf("reservations"), "a shared network's reservations aren't carried");
            for (const JsonNode& subnet : network.ItemsOf("subnet4"))
                ReadSubnet(subnet, settings);
        }
        for (const JsonNode& subnet : server->ItemsOf("subnet4"))
            ReadSubnet(subnet, {});
        for (const Subnet& subnet : subnets_)
            for (const JsonNode& reservation : subnet.node->ItemsOf("reservations"))
                ReadReservation(reservation, &subnet);
        ReadGlobalReservations(*server);
    }

  private:
    void Drop(const JsonNode& node, const std::string& why) { import_.Drop(node.line, why); }
    void DropAll(const std::vector<JsonNode>& nodes, const std::string& why) {
        for (const JsonNode& node : nodes)
            Drop(node, why);
    }

    // Global reservations count only where the file says so.
    void ReadGlobalReservations(const JsonNode& server) {
        const auto isOn = [](const JsonNode& scope) {
            const JsonNode* flag = scope.Find("reservations-global");
            return (flag != nullptr && flag->IsTrue()) || scope.TextOf("reservation-mode") == "global";
        };
        const bool isUsed = isOn(server) || std::ranges::any_of(subnets_, [&](const Subnet& subnet) {
                                return isOn(*subnet.node);
                            });
        for (const JsonNode& reservation : server.ItemsOf("reservations")) {
            if (isUsed)
                ReadReservation(reservation, nullptr);
            else
                Drop(reservation, "Kea doesn't use this reservation: reservations-global isn't set");
        }
    }

    void ReadDefinition(const JsonNode& node) {
        static constexpr std::pair<const char*, Shape> Shapes[] = {
            {"ipv4-address", Shape::Addresses}, {"string", Shape::Text}, {"binary", Shape::Octets},
            {"boolean", Shape::Flag},           {"uint8", Shape::Bytes}, {"uint16", Shape::Numbers},
            {"uint32", Shape::Longs},           {"int32", Shape::Longs}, {"fqdn", Shape::Domains},
            {"int16", Shape::Numbers},          {"int8", Shape::Bytes}};
        const auto* row = std::ranges::find_if(
            Shapes, [&](const auto& known) { return node.TextOf("type") == known.first; });
        const auto tag = ParseNumber(node.TextOf("code"), 254);
        const std::string space = node.TextOf("space");
        if (row == std::end(Shapes) || !tag || (!space.empty() && space != "dhcp4"))
            return Drop(node,
                        "option-def '" + node.TextOf("name") + "': options of this kind aren't carried");
        definitions_[node.TextOf("name")] = {static_cast<int>(*tag), row->second};
    }

    void ReadClass(const JsonNode& node) {
        SettingList settings;
        ReadScope(node, settings);
        const std::string name = node.TextOf("name");
        if (node.Find("test") != nullptr && !settings.All().empty())
            Drop(node, "class '" + name +
                           "' depends on the client's request; it counts where a reservation names it");
        classes_[name] = settings;
    }

    void ReadSubnet(const JsonNode& node, const SettingList& network) {
        const std::vector<std::string> parts = Split(node.TextOf("subnet"), "/");
        const auto address = AddressNumber(parts[0]);
        const auto mask = parts.size() == 2 ? MaskOfLength(parts[1]) : std::nullopt;
        if (!address || !mask) return Drop(node, "subnet '" + node.TextOf("subnet") + "' isn't one of IPv4");
        Subnet subnet{&node, *address, *mask, AddressText(*address & *mask) + "/" + parts[1], network, {}};
        subnet.own.Put(AddressSetting(SubnetMaskTag, *mask));
        ReadScope(node, subnet.own);
        DropAll(node.ItemsOf("pools"),
                "a pool of addresses isn't carried; every client needs an entry of its own");
        subnets_.push_back(subnet);
        TemplateOf(subnet, {});
    }

    // From the widest to the narrowest: all clients, classes, the shared network, the subnet. A boot file of
    // a class goes before one of the subnet.
    std::size_t TemplateOf(const Subnet& subnet, const std::vector<std::string>& classes) {
        SettingList settings = global_;
        std::string name = subnet.name;
        // The first class that has an option is the one that counts.
        for (auto word = classes.rbegin(); word != classes.rend(); ++word)
            settings.PutAll(classes_[*word]);
        settings.PutAll(subnet.network);
        settings.PutAll(subnet.own);
        for (auto word = classes.rbegin(); word != classes.rend(); ++word)
            if (const Setting* file = classes_[*word].Find(BootFileTag)) settings.Put(*file);
        for (const std::string& word : classes)
            name += " " + word;
        return import_.Template(name, settings);
    }

    // The settings of any scope, from the whole server to one reservation.
    void ReadScope(const JsonNode& scope, SettingList& settings) {
        for (const auto& [name, value] : scope.members) {
            if (name == "valid-lifetime" || name == "renew-timer" || name == "rebind-timer")
                ReadTimer(name, value, settings);
            else if (name == "boot-file-name")
                Put(value, name, BootFileTag, Shape::Text, {{value.text, true}}, settings);
            else if (name == "next-server")
                DropUnlessEmpty(value, "next-server: a reply names this server as the next one");
            else if (name == "server-hostname")
                DropUnlessEmpty(value, "server-hostname: a reply has this host's own name");
            else if (name == "hooks-libraries" || name == "hosts-database" || name == "hosts-databases")
                DropUnlessEmpty(value, name + ": what comes from there isn't carried");
            else if (name == "client-class" || name == "require-client-classes")
                DropUnlessEmpty(value, name + ": what depends on the client's request isn't carried");
            else if (!name.starts_with("ddns-") && name != "client-classes" &&
                     std::ranges::find(WithoutEffect, name) == WithoutEffect.end())
                Drop(value, name + ": isn't carried");
        }
        for (const JsonNode& option : scope.ItemsOf("option-data"))
            ReadOption(option, settings);
    }

    void DropUnlessEmpty(const JsonNode& node, const std::string& why) {
        if ((!node.text.empty() && node.text != "0.0.0.0") || !node.items.empty() || !node.members.empty())
            Drop(node, why);
    }

    void ReadTimer(const std::string& name, const JsonNode& value, SettingList& settings) {
        const int tag = name == "valid-lifetime" ? LeaseTimeTag : name == "renew-timer" ? 58 : 59;
        Put(value, name, tag, Shape::Seconds, {{value.text}}, settings);
    }

    void Put(const JsonNode& node, const std::string& name, int tag, Shape shape,
             const std::vector<ValueItem>& items, SettingList& settings) {
        // Nothing said is nothing sent.
        if (items.size() == 1 && items[0].text.empty()) return;
        std::string why;
        auto setting = MakeSetting(tag, shape, items, {}, why);
        if (!setting) return Drop(node, name + ": " + why);
        settings.Put(std::move(*setting));
    }

    // The pieces of a value. A comma after a backslash is part of the text.
    static std::vector<ValueItem> Items(const std::string& data, bool isText) {
        std::vector<ValueItem> items(1);
        for (std::size_t at = 0; at < data.size(); ++at) {
            if (data[at] == '\\' && at + 1 < data.size() && data[at + 1] == ',')
                items.back().text += data[++at];
            else if (data[at] == ',')
                items.emplace_back();
            else
                items.back().text += data[at];
        }
        for (ValueItem& item : items)
            item = {std::string(Trimmed(item.text)), isText};
        return items;
    }

    void ReadOption(const JsonNode& node, SettingList& settings) {
        const std::string name =
            node.TextOf("name").empty() ? "option " + node.TextOf("code") : node.TextOf("name");
        const std::string space = node.TextOf("space");
        if (!space.empty() && space != "dhcp4")
            return Drop(node, name + ": options of other spaces aren't carried");
        const auto definition = Find(node);
        if (!definition) return Drop(node, name + ": this option isn't known");
        if (const char* reason = SetByServer(definition->tag)) return Drop(node, name + ": " + reason);
        const JsonNode* never = node.Find("never-send");
        if (never != nullptr && never->IsTrue()) return Drop(node, name + ": never-send isn't carried");
        const JsonNode* format = node.Find("csv-format");
        const std::string data = node.TextOf("data");
        if (format != nullptr && !format->IsTrue())
            return PutOctets(node, name, definition->tag, data, settings);
        if (definition->shape == Shape::Octets) return PutOctets(node, name, definition->tag, data, settings);
        std::vector<ValueItem> items = Items(data, definition->shape == Shape::Text);
        // In classless routes a hyphen stands between the destination and its router.
        if (definition->shape == Shape::Routes) items = Routes(data);
        Put(node, name, definition->tag, definition->shape, items, settings);
    }

    // Hexadecimal digits, with blanks between them or without; or a text in single quotes.
    void PutOctets(const JsonNode& node, const std::string& name, int tag, std::string data,
                   SettingList& settings) {
        if (data.size() > 2 && data.front() == '\'' && data.back() == '\'')
            return Put(node, name, tag, Shape::Text, {{data.substr(1, data.size() - 2), true}}, settings);
        std::erase(data, ' ');
        Put(node, name, tag, Shape::Octets, {{data}}, settings);
    }

    static std::vector<ValueItem> Routes(const std::string& data) {
        std::vector<ValueItem> items;
        for (const std::string& piece : Split(data, ",-"))
            items.push_back({piece});
        return items;
    }

    std::optional<OptionDefinition> Find(const JsonNode& node) const {
        const std::string name = node.TextOf("name");
        if (const auto own = definitions_.find(name); own != definitions_.end()) return own->second;
        const auto tag = ParseNumber(node.TextOf("code"), 254);
        for (const auto& [ownName, own] : definitions_)
            if (tag && own.tag == static_cast<int>(*tag)) return own;
        const KnownOption* known = tag ? FindKnownOption(static_cast<int>(*tag)) : FindKnownOption(name);
        // Kea has domain names where others have text.
        if (known != nullptr && known->tag > 0) return OptionDefinition{known->tag, known->shape};
        if (tag) return OptionDefinition{static_cast<int>(*tag), Shape::Octets};
        return std::nullopt;
    }

    const Subnet* SubnetOf(std::uint32_t address) const {
        const auto found = std::ranges::find_if(
            subnets_, [&](const Subnet& subnet) { return ((subnet.address ^ address) & subnet.mask) == 0; });
        return found != subnets_.end() ? &*found : nullptr;
    }

    std::vector<std::string> ClassesOf(const JsonNode& reservation) {
        std::vector<std::string> classes;
        for (const JsonNode& word : reservation.ItemsOf("client-classes")) {
            if (classes_.contains(word.text))
                classes.push_back(word.text);
            else
                Drop(word, "class '" + word.text + "' isn't in this file");
        }
        return classes;
    }

    void ReadReservation(const JsonNode& node, const Subnet* subnet) {
        const auto section = SectionNameOf(node.TextOf("hw-address"));
        if (!section) return Drop(node, "reservation: clients are known by their hardware address only");
        const auto address = AddressNumber(node.TextOf("ip-address"));
        if (!address) return Drop(node, "reservation for " + *section + ": there is no IPv4 address");
        if (subnet == nullptr) subnet = SubnetOf(*address);
        if (subnet == nullptr)
            return Drop(node, "reservation for " + *section + ": " + AddressText(*address) +
                                  " is in no subnet of this file");
        ImportedHost host{
            *section, node.TextOf("hostname"), node.line, TemplateOf(*subnet, ClassesOf(node)), {}};
        host.settings.Put(AddressSetting(AddressTag, *address));
        std::string why;
        if (const auto name = MakeTextSetting(HostNameTag, host.name, why)) host.settings.Put(*name);
        ReadScope(node, host.settings);
        import_.Add(std::move(host));
    }

    Import& import_;
    SettingList global_;
    std::map<std::string, OptionDefinition> definitions_;
    std::map<std::string, SettingList> classes_;
    std::vector<Subnet> subnets_;
};

}  // namespace

void ImportKea(std::string_view text, const HostAddresses& /*names*/, Import& import) {
    JsonFault fault;
    const auto file = ParseJson(text, fault);
    if (!file) return import.Drop(fault.line, fault.text);
    KeaImport(import).Run(*file);
}

}  // namespace quillonctl
