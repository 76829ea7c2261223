#include "quillonctl/check/clients_check.h"

#include <cstring>
#include <map>
#include <optional>

#include "database/database_result.h"
#include "database/load/client_list.h"
#include "quillonctl/check/address_check.h"
#include "quillonctl/check/malformed_client.h"
#include "quillonctl/check/reply_size.h"
#include "quillonctl/check/section_check.h"

namespace quillonctl {
namespace {

constexpr LONG UsualHardwareLength = 6;

// An entry for a section that the load didn't reach.
struct OwnEntry {
    HANDLE heap;
    ClientEntry* entry;
    DWORD status = DatabaseOk;

    OwnEntry(const std::string& path, const LoadedDatabase& database, const ServerParameters& record,
             std::string name)
        : heap(database.Heap()) {
        BYTE address[HardwareAddressSize] = {};
        const BYTE length = ConvertHardwareAddress(address, name.data(), -1);
        DWORD total = 0;
        entry = AllocateClientEntry(record.TerminateStrings, heap, path.c_str(), &total, &status,
                                    database.Catalogue(), address, length);
    }
    ~OwnEntry() {
        if (entry != nullptr) HeapFree(heap, 0, entry);
    }
    OwnEntry(const OwnEntry&) = delete;
    OwnEntry& operator=(const OwnEntry&) = delete;
    bool IsUsable() const { return entry != nullptr && status != EntryMalformed; }
};

class ClientsCheck {
  public:
    ClientsCheck(const BootptabLines& file, const LoadedDatabase& database, const ServerParameters& record,
                 bool isRefused, Findings* findings)
        : file_(file),
          database_(database),
          record_(record),
          isRefused_(isRefused),
          findings_(findings),
          sections_(file, database.Catalogue(), findings) {}

    void Run() {
        const ClientEntry* entry = database_.FirstEntry();
        auto malformed = database_.Malformed().begin();
        bool isLoaded = true;  // up to the first section that ends the load
        for (const CheckedSection& section : file_.Sections()) {
            const std::string name(section.name);
            if (IsSpecialSection(name.c_str())) {
                CheckSpecial(section);
            } else if (section.name.find('-') == section.name.npos) {
                ReportStray(section, isLoaded);
                isLoaded = false;
            } else if (!isLoaded) {
                const OwnEntry own(file_.Path(), database_, record_, name);
                CheckClient(section, own.IsUsable() ? own.entry : nullptr);
            } else if (malformed != database_.Malformed().end() && *malformed == name) {
                ++malformed;
                CheckClient(section, nullptr);
            } else if (entry != nullptr) {
                CheckClient(section, entry);
                entry = entry->next;
            }
        }
        ReportCutReplies();
    }

  private:
    struct CutGroup {
        const CheckedSection* first;
        CutReply cut;
        int count = 0;
    };

    void Add(Severity severity, int line, const std::string& text) {
        findings_->Add(severity, file_.Path(), line, text);
    }

    void CheckSpecial(const CheckedSection& section) {
        const bool isTemplate = section.name.starts_with(TemplatePrefix);
        if (file_.Find(section.name) != &section)
            Add(Severity::Warning, section.line,
                "[" + std::string(section.name) + "] stands in line " +
                    std::to_string(file_.Find(section.name)->line) + " already, which alone is read");
        else if (isTemplate)
            sections_.CheckKeys(section, true);
        else if (section.name != "Options" && section.name != "File Aliases")
            Add(Severity::Warning, section.line,
                "[" + std::string(section.name) + "] only looks like a special section: nothing reads it");
    }

    // The first stray section that the load reaches ends it; one that it doesn't reach does so some day.
    void ReportStray(const CheckedSection& section, bool isFirst) {
        const std::string name = "[" + std::string(section.name) + "]";
        std::string hint = ": a client's name is its hardware address, with hyphens";
        for (const char* special : {"options", "file aliases", "template:"})
            if (FoldedName(section.name).starts_with(special))
                hint = ": write the name of a special section with capitals";
        if (isFirst && isRefused_)
            findings_->Refuse(file_.Path(), section.line, name + " is no section of this file" + hint);
        else
            Add(Severity::Error, section.line,
                "a load that comes this far is refused: " + name + " is no section of this file" + hint);
    }

    void CheckClient(const CheckedSection& section, const ClientEntry* entry) {
        const CheckedSection* first = file_.Find(section.name);
        if (first == &section)
            sections_.CheckKeys(section, false);
        else
            Add(Severity::Error, section.line,
                "the client stands in line " + std::to_string(first->line) +
                    " already; this section is never read");
        if (entry == nullptr)
            Add(Severity::Error, section.line,
                "the client gets no reply (event 0xC000001C): " +
                    WhyMalformed(file_, sections_, record_, *first));
        else if (first == &section)
            CheckEntry(section, *entry);
    }

    void CheckEntry(const CheckedSection& section, const ClientEntry& entry) {
        char hardware[HardwareTextSize] = {};
        HardwareAddressText(entry.packet, hardware);
        const auto [twin, isNew] = hardware_.emplace(hardware, section.line);
        if (!isNew)
            return Add(Severity::Error, section.line,
                       "the hardware address " + std::string(hardware) + " stands in line " +
                           std::to_string(twin->second) + " already; this client never gets a reply");
        if (entry.packet.hlen < UsualHardwareLength)
            Add(Severity::Warning, section.line,
                "a hardware address of " + std::to_string(entry.packet.hlen) + " bytes; Ethernet has 6");
        CheckAddress(section, entry);
        for (const std::string& fault : SubnetFaults(entry))
            Add(Severity::Warning, LineOfTag(section, -2), fault);
        NoteCut(section, entry);
    }

    void CheckAddress(const CheckedSection& section, const ClientEntry& entry) {
        char address[AddressTextSize];
        FormatAddress(entry.packet.yiaddr, address);
        const bool isSample = IsExempt(std::string(section.name).c_str());
        if (entry.packet.yiaddr == IpAddress{} && isSample) return;
        if (entry.packet.yiaddr == IpAddress{})
            return Add(Severity::Error, section.line, "the client has no address, so it gets no reply");
        if (entry.packet.yiaddr == IpAddress{{255, 255, 255, 255}}) return;  // reported with its value
        const int line = LineOfTag(section, -2);
        const auto [twin, isNew] = addresses_.emplace(address, line);
        if (!isNew)
            Add(Severity::Error, line,
                "the address " + std::string(address) + " is that of line " + std::to_string(twin->second) +
                    " as well");
    }

    // Where the client's own section sets that tag, or its heading.
    int LineOfTag(const CheckedSection& section, LONG tag) const {
        for (const CheckedKey& key : section.keys) {
            const OptionDefinition* row = sections_.RowOf(key.name);
            if (row != nullptr && row->tag == tag) return key.line;
        }
        return section.line;
    }

    // Clients of one template lose the same option as a rule, so they share a finding.
    void NoteCut(const CheckedSection& section, const ClientEntry& entry) {
        const auto cut = CutOf(entry, record_);
        if (!cut) return;
        const CheckedKey* name = section.Find(TemplateKey);
        const std::string group = name != nullptr ? FoldedName(name->value) : "";
        auto& known = cuts_.try_emplace({group, cut->tag}, CutGroup{&section, *cut}).first->second;
        ++known.count;
        known.cut.needed = std::max(known.cut.needed, cut->needed);
    }

    void ReportCutReplies() {
        for (const auto& [key, group] : cuts_) {
            std::string text = "a reply of " + std::to_string(group.cut.needed) +
                               " octets doesn't fit a request of " + std::to_string(ShortRequest) +
                               ", which loses " + OptionName(group.cut.tag) + ": set MinResponseSize to " +
                               std::to_string(group.cut.needed) + " or more";
            if (group.count > 1) text += "; so do " + std::to_string(group.count - 1) + " more clients";
            Add(Severity::Warning, group.first->line, text);
        }
    }

    std::string OptionName(std::uint8_t tag) const {
        if (tag == TagEnd) return "the end mark";
        for (const OptionDefinition* row = database_.Catalogue(); row->name[0] != '\0'; ++row)
            if (row->tag >= 0 && static_cast<std::uint8_t>(row->tag) == tag)
                return "option " + std::to_string(tag) + " (" + row->name + ")";
        return "option " + std::to_string(tag);
    }

    const BootptabLines& file_;
    const LoadedDatabase& database_;
    const ServerParameters& record_;
    const bool isRefused_;
    Findings* findings_;
    SectionCheck sections_;
    std::unordered_map<std::string, int> hardware_;
    std::unordered_map<std::string, int> addresses_;
    std::map<std::pair<std::string, std::uint8_t>, CutGroup> cuts_;
};

}  // namespace

void CheckClients(const BootptabLines& file, const LoadedDatabase& everything, const ServerParameters& record,
                  bool isRefused, Findings* findings) {
    ClientsCheck(file, everything, record, isRefused, findings).Run();
}

}  // namespace quillonctl
