// The two kinds of table: one line for each client.
#include <algorithm>
#include <map>
#include <set>

#include "quillonctl/import/importers.h"
#include "quillonctl/import/option_value.h"
#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

struct Record {
    int line = 0;
    std::vector<ValueItem> cells;
};

// The records of a table. A cell in quotes may hold separators, line ends and doubled quotes.
std::vector<Record> SplitTable(std::string_view text, char separator) {
    std::vector<Record> records;
    Record record{1, {}};
    ValueItem cell;
    bool inQuotes = false;
    int line = 1;
    const auto finishCell = [&] {
        if (!cell.isQuoted) cell.text = std::string(Trimmed(cell.text));
        record.cells.push_back(std::move(cell));
        cell = {};
    };
    const auto finishRecord = [&] {
        finishCell();
        const bool isBlank = record.cells.size() == 1 && record.cells[0].text.empty();
        const bool isComment = !record.cells[0].isQuoted && record.cells[0].text.starts_with('#');
        if (!isBlank && !isComment) records.push_back(std::move(record));
        record = {line, {}};
    };
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '\n') ++line;
        if (inQuotes && c == '"' && at + 1 < text.size() && text[at + 1] == '"')
            cell.text += text[++at];
        else if (c == '"' && (inQuotes || Trimmed(cell.text).empty())) {
            inQuotes = !inQuotes;
            if (inQuotes) cell = {"", true};
        } else if (!inQuotes && c == separator)
            finishCell();
        else if (!inQuotes && c == '\n')
            finishRecord();
        else if (c != '\r' || inQuotes)
            cell.text += c;
    }
    finishRecord();
    return records;
}

// The separator that the first line has most of.
char SeparatorOf(std::string_view text) {
    const std::string_view first = text.substr(0, text.find('\n'));
    char best = ',';
    for (const char candidate : {';', '\t'})
        if (std::ranges::count(first, candidate) > std::ranges::count(first, best)) best = candidate;
    return best;
}

enum class Column { Hardware, Group, Setting, Unknown };

struct ColumnMeaning {
    Column kind = Column::Unknown;
    const KnownOption* option = nullptr;
};

ColumnMeaning MeaningOf(const std::string& heading) {
    const std::string word = Lower(heading);
    for (const char* name : {"mac", "mac-address", "mac address", "mac_address", "hardware-address",
                             "hardware address", "hw-address", "hwaddr", "ethernet", "chaddr"})
        if (word == name) return {Column::Hardware, nullptr};
    for (const char* name : {"template", "group"})
        if (word == name) return {Column::Group, nullptr};
    for (const char* name : {"boot-file", "boot file", "boot_file", "bootfile", "file"})
        if (word == name) return {Column::Setting, FindKnownOption(BootFileTag)};
    const KnownOption* option = FindKnownOption(word);
    return option != nullptr ? ColumnMeaning{Column::Setting, option} : ColumnMeaning{};
}

struct TableHost {
    ImportedHost host;
    std::string group;  // as the table names it, or the subnet
};

class CsvImport {
  public:
    CsvImport(const HostAddresses& names, Import& import) : names_(names), import_(import) {}

    void Run(std::string_view text) {
        const std::vector<Record> records = SplitTable(text, SeparatorOf(text));
        if (records.empty() || !ReadHeadings(records[0])) return;
        for (std::size_t at = 1; at < records.size(); ++at)
            ReadRecord(records[at]);
        ShareSettings();
        for (TableHost& row : hosts_)
            import_.Add(std::move(row.host));
    }

  private:
    bool ReadHeadings(const Record& record) {
        bool hasHardware = false;
        bool hasAddress = false;
        for (const ValueItem& cell : record.cells) {
            columns_.push_back(MeaningOf(cell.text));
            const ColumnMeaning& column = columns_.back();
            hasHardware |= column.kind == Column::Hardware;
            hasAddress |= column.option != nullptr && column.option->tag == AddressTag;
            const char* reason = column.option != nullptr ? SetByServer(column.option->tag) : "isn't known";
            if (column.kind == Column::Setting ? reason != nullptr : column.kind == Column::Unknown)
                import_.Drop(record.line, "column '" + cell.text + "': " + reason);
        }
        if (!hasHardware || !hasAddress)
            import_.Drop(record.line, "the first line has to name a column 'mac' and a column 'ip'");
        return hasHardware && hasAddress;
    }

    // A list within one cell.
    static std::vector<ValueItem> Items(const ValueItem& cell, Shape shape) {
        if (shape == Shape::Text || shape == Shape::Octets) return {{cell.text, shape == Shape::Text}};
        std::vector<ValueItem> items;
        for (const std::string& piece : Split(cell.text, " ,;\t"))
            if (!piece.empty()) items.push_back({piece});
        return items;
    }

    void ReadRecord(const Record& record) {
        TableHost row;
        row.host.line = record.line;
        for (std::size_t at = 0; at < record.cells.size(); ++at) {
            const ValueItem& cell = record.cells[at];
            if (cell.text.empty()) continue;
            if (at >= columns_.size())
                import_.Drop(record.line, "'" + cell.text + "' stands under no column name");
            else
                ReadCell(columns_[at], cell, row);
        }
        if (row.host.section.empty()) return import_.Drop(record.line, "there is no hardware address");
        const Setting* address = row.host.settings.Find(AddressTag);
        if (address == nullptr) return import_.Drop(record.line, "there is no IPv4 address");
        const Setting* mask = row.host.settings.Find(SubnetMaskTag);
        if (row.group.empty() && mask != nullptr) {
            const auto bits = AddressNumber(*mask->value);
            const auto number = AddressNumber(*address->value);
            if (bits && number)
                row.group = AddressText(*number & *bits) + "/" + std::to_string(LengthOfMask(*bits));
        }
        hosts_.push_back(std::move(row));
    }

    void ReadCell(const ColumnMeaning& column, const ValueItem& cell, TableHost& row) {
        const auto drop = [&](const std::string& why) { import_.Drop(row.host.line, why); };
        if (column.kind == Column::Group) {
            row.group = cell.text;
        } else if (column.kind == Column::Hardware) {
            row.host.section = SectionNameOf(cell.text).value_or("");
            if (row.host.section.empty()) drop("'" + cell.text + "' is no hardware address");
        } else if (column.option != nullptr && SetByServer(column.option->tag) == nullptr) {
            const KnownOption& option = *column.option;
            std::vector<ValueItem> items = Items(cell, option.shape);
            // A mask may be written by its length.
            if (option.tag == SubnetMaskTag && items.size() == 1 && items[0].text.size() <= 3) {
                std::string length = items[0].text;
                if (length.starts_with('/')) length.erase(0, 1);
                if (const auto mask = MaskOfLength(length)) items[0].text = AddressText(*mask);
            }
            if (option.tag == AddressTag && items.size() > 1) {
                drop("'" + cell.text + "': one client has one address here");
                items.resize(1);
            }
            std::string why;
            const auto setting = MakeSetting(option.tag, option.shape, items, names_, why);
            if (!setting) return drop(std::string(option.name) + ": " + why);
            row.host.settings.Put(*setting);
        }
    }

    // What all hosts of a group have alike becomes their template.
    void ShareSettings() {
        std::map<std::string, SettingList> shared;
        std::vector<std::string> order;
        for (const TableHost& row : hosts_) {
            if (row.group.empty()) continue;
            const auto [place, isNew] = shared.try_emplace(row.group, row.host.settings);
            if (isNew) order.push_back(row.group);
            SettingList& common = place->second;
            const SettingList before = common;
            for (const Setting& setting : before.All()) {
                const Setting* own = row.host.settings.Find(setting.tag);
                const bool isPersonal = setting.tag == AddressTag || setting.tag == HostNameTag;
                if (isPersonal || own == nullptr || *own != setting) common.Remove(setting.tag);
            }
        }
        std::map<std::string, std::size_t> places;
        for (const std::string& group : order)
            places[group] = import_.Template(group, shared[group]);
        for (TableHost& row : hosts_) {
            if (row.group.empty()) continue;
            row.host.templateIndex = places[row.group];
            for (const Setting& setting : shared[row.group].All())
                row.host.settings.Remove(setting.tag);
        }
    }

    const HostAddresses& names_;
    Import& import_;
    std::vector<ColumnMeaning> columns_;
    std::vector<TableHost> hosts_;
};

}  // namespace

void ImportEthers(std::string_view text, const HostAddresses& names, Import& import) {
    int number = 0;
    for (const std::string_view line : Lines(text)) {
        ++number;
        const std::vector<std::string> words = Words(line.substr(0, line.find('#')));
        if (words.empty()) continue;
        const auto section = SectionNameOf(words[0]);
        if (!section || words.size() != 2) {
            import.Drop(number, "this is no hardware address with an address or a name");
            continue;
        }
        std::string why;
        const auto address = MakeSetting(AddressTag, Shape::Address, {{words[1]}}, names, why);
        if (!address) {
            import.Drop(number, why);
            continue;
        }
        ImportedHost host{*section, words[1], number, std::nullopt, {}};
        host.settings.Put(*address);
        if (!AddressNumber(words[1]))
            if (const auto name = MakeTextSetting(HostNameTag, words[1], why)) host.settings.Put(*name);
        import.Add(std::move(host));
    }
}

void ImportCsv(std::string_view text, const HostAddresses& names, Import& import) {
    CsvImport(names, import).Run(text);
}

}  // namespace quillonctl
