#include "quillonctl/check/database_check.h"

#include <filesystem>

#include "database/database_result.h"
#include "platform/linux/instance/home.h"
#include "quillonctl/check/clients_check.h"
#include "quillonctl/check/options_check.h"
#include "quillonctl/check/registry_check.h"

namespace quillonctl {
namespace {

// A service works in its home, so a relative path counts from there.
std::string DatabaseOf(const ServerParameters& record) {
    return (std::filesystem::path(PathOf(HomePlace::Folder)) / NativePath(record.DatabasePath))
        .lexically_normal();
}

std::size_t CountEntries(const LoadedDatabase& database) {
    std::size_t count = 0;
    for (const ClientEntry* entry = database.FirstEntry(); entry != nullptr; entry = entry->next)
        ++count;
    return count;
}

void NoteCache(std::size_t listed, std::size_t all, const ServerParameters& record, Findings* findings) {
    if (listed >= all) return;
    const RegistryPlace place = PlaceOfParameter("CacheSize");
    findings->Add(Severity::Note, place.file, place.line,
                  std::to_string(all - listed) + " of " + std::to_string(all) +
                      " clients lie beyond CacheSize (" + std::to_string(record.CacheSize) +
                      ") and are read from the file at each request");
}

void CheckContent(const BootptabLines& lines, const ServerParameters& record, CheckDepth depth,
                  CheckOutcome* outcome) {
    CheckOptionsSection(lines, &outcome->findings);
    const LoadedDatabase asConfigured(lines.Path(), record);
    if (depth == CheckDepth::Refusals && !asConfigured.IsRefused()) return;
    if (asConfigured.CatalogueResult() == DatabaseOk) {
        ServerParameters unlimited = record;
        unlimited.CacheSize = 0;
        const LoadedDatabase everything(lines.Path(), unlimited);
        CheckClients(lines, everything, record, asConfigured.IsRefused(), &outcome->findings);
        outcome->clients = CountEntries(everything);
        NoteCache(CountEntries(asConfigured), outcome->clients, record, &outcome->findings);
    }
    if (asConfigured.IsRefused() && !outcome->findings.Refuses())
        outcome->findings.Refuse(lines.Path(), 0, "the file has no client that can be used");
}

}  // namespace

CheckOutcome CheckDatabase(const std::optional<std::string>& file, CheckDepth depth) {
    CheckOutcome outcome;
    ServerParameters record = {};
    const bool hasSettings = !file && CheckRegistry(&record, &outcome.findings);
    if (!hasSettings) record = SettingsOrInstalled();
    if (!IsHeapPossible(record.CacheSize))
        record.CacheSize = 0;  // reported; the rest is looked at all the same
    outcome.file = file.value_or(DatabaseOf(record));
    const auto lines = BootptabLines::Read(outcome.file, outcome.error);
    outcome.isRead = lines.has_value();
    if (lines) CheckContent(*lines, record, depth, &outcome);
    outcome.findings.SortByPlace();
    return outcome;
}

}  // namespace quillonctl
