#include "quillonctl/import/bootptab_writer.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

// The names that the settings get, and with them the rows of [Options].
class KeyNames {
  public:
    KeyNames() {
        for (const int tag :
             {SubnetMaskTag, GatewayTag, HostNameTag, LeaseTimeTag, BootFileTag, AddressTag, TemplateTag}) {
            const KnownOption* option = FindKnownOption(tag);
            Of(tag, option->shape);
        }
    }

    const std::string& Of(int tag, Shape shape) {
        const std::string type = TypeWord(shape);
        const auto [place, isNew] = names_.try_emplace({tag, type});
        if (isNew) place->second = NewName(tag, type);
        return place->second;
    }

    // Options by their number, then what isn't an option.
    std::string Rows() const {
        std::string options;
        std::string others;
        for (const auto& [row, name] : names_) {
            const std::string line = name + " = " + std::to_string(row.first) + "," + row.second + "\n";
            if (row.first >= 0)
                options += line;
            else
                others.insert(0, line);
        }
        return options + others;
    }

  private:
    std::string NewName(int tag, const std::string& type) {
        const KnownOption* option = FindKnownOption(tag);
        std::string name = option != nullptr && type == TypeWord(option->shape)
                               ? option->name
                               : "Option " + std::to_string(tag);
        if (!taken_.insert(Lower(name)).second) {
            name += " as " + type;
            taken_.insert(Lower(name));
        }
        return name;
    }

    std::map<std::pair<int, std::string>, std::string> names_;
    std::set<std::string> taken_;
};

std::string KeyLines(const SettingList& settings, KeyNames& names) {
    std::string lines;
    for (const Setting& setting : settings.All())
        if (setting.value)
            lines += names.Of(setting.tag, setting.shape) + " = " + IniValue(*setting.value) + "\n";
    return lines;
}

// A host that takes something of its template away, or writes it in another form, can't use the template:
// there, a key only gives way to one of the same name.
bool FitsTemplate(const ImportedHost& host, const ImportedTemplate& wider) {
    return std::ranges::all_of(host.settings.All(), [&](const Setting& own) {
        const Setting* shared = wider.settings.Find(own.tag);
        if (shared == nullptr || !shared->value) return true;
        return own.value && std::string_view(TypeWord(own.shape)) == TypeWord(shared->shape);
    });
}

std::string HostText(const ImportedHost& host, const Import& import, KeyNames& names) {
    const std::string heading = "\n[" + host.section + "]\n";
    if (!host.templateIndex) return heading + KeyLines(host.settings, names);
    const ImportedTemplate& wider = import.Templates()[*host.templateIndex];
    if (FitsTemplate(host, wider))
        return heading + names.Of(TemplateTag, Shape::Text) + " = " + wider.name + "\n" +
               KeyLines(host.settings, names);
    SettingList all = wider.settings;
    all.PutAll(host.settings);
    return heading + KeyLines(all, names);
}

}  // namespace

std::string WriteBootptab(const Import& import, const std::string& origin) {
    KeyNames names;
    std::string sections;
    for (const ImportedTemplate& shared : import.Templates())
        sections += "\n[Template:" + shared.name + "]\n" + KeyLines(shared.settings, names);
    for (const ImportedHost& host : import.Hosts())
        sections += HostText(host, import, names);
    std::string first = origin;
    std::ranges::replace_if(
        first, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    return "; " + first + "\n\n[Options]\n" + names.Rows() + sections;
}

}  // namespace quillonctl
