#include "database/load/client_list.h"

#include <cstring>

#include "database/database_result.h"
#include "database/load/name_list.h"
#include "database/load/shared_sections.h"
#include "database/lookup/client_index.h"
#include "platform/held_ini_file.h"

std::atomic<bool> LoadsInterrupted{false};

namespace {

constexpr DWORD Unlimited = 0xFFFFFFFFu;

// The samples that a database is handed out with take no client's place.
constexpr const char* ExemptSections[] = {"11-11-11-11-11-11", "22-22-22-22-22-22"};

constexpr const char* SpecialSections[] = {"Template:", "File Aliases", "Options"};

struct Load {
    DWORD terminateStrings;
    HANDLE heap;
    const char* path;
    DWORD* total;
    ClientEntry** tail;  // where the next entry's address goes
    DWORD* cacheSize;
    const OptionDefinition* catalogue;
    int (*report)(const char* sectionName);
    SharedSections shared;
    LoadCounts counts = {};
};

// Null for a section that makes no entry, which has then been reported.
ClientEntry* BuildEntry(Load* load, char* section) {
    BYTE address[HardwareAddressSize] = {};
    const BYTE length = ConvertHardwareAddress(address, section, -1);
    DWORD status = DatabaseOk;
    ClientEntry* entry = AllocateClientEntry(load->terminateStrings, load->heap, load->path, load->total,
                                             &status, load->catalogue, address, length, &load->shared);
    if (entry != nullptr && status != EntryMalformed) {
        entry->packet.hlen = length;
        return entry;
    }
    load->report(section);
    ++load->counts.malformed;
    if (entry != nullptr) HeapFree(load->heap, 0, entry);
    return nullptr;
}

bool AppendEntry(Load* load, ClientEntry* entry) {
    entry->mutex = CreateMutexA(nullptr, FALSE, nullptr);
    if (entry->mutex == nullptr) {
        HeapFree(load->heap, 0, entry);
        return false;
    }
    GetLocalTime(&entry->stamp);
    *load->tail = entry;
    load->tail = &entry->next;
    ++load->counts.listed;
    return true;
}

// Those that lie beyond the cache, and are read when they ask.
DWORD CountClients(NameList sections) {
    DWORD count = 0;
    while (const char* section = NextName(&sections))
        if (!IsSpecialSection(section)) ++count;
    return count;
}

DWORD LoadSections(Load* load, NameList sections) {
    while (char* section = NextName(&sections)) {
        if (LoadsInterrupted) return LoadAborted;
        if (IsSpecialSection(section)) continue;
        if (std::strchr(section, '-') == nullptr) return DatabaseCorrupt;
        ClientEntry* entry = BuildEntry(load, section);
        if (entry == nullptr) continue;
        if (!AppendEntry(load, entry)) return MutexNotCreated;
        if (*load->cacheSize == Unlimited || IsExempt(section)) continue;
        if (--*load->cacheSize == 0) break;
    }
    load->counts.beyondCache = CountClients(sections);
    return DatabaseOk;
}

}  // namespace

bool IsExempt(const char* name) {
    for (const char* exempt : ExemptSections) {
        if (std::strcmp(name, exempt) == 0) return true;
    }
    return false;
}

bool IsSpecialSection(const char* name) {
    for (const char* prefix : SpecialSections) {
        if (std::strncmp(name, prefix, std::strlen(prefix)) == 0) return true;
    }
    return false;
}

DWORD LoadClientDatabase(DWORD terminateStrings, HANDLE heap, const char* path, DWORD* total,
                         ClientEntry** listHead, DWORD* cacheSize, const OptionDefinition* catalogue,
                         int (*report)(const char* sectionName)) {
    *listHead = nullptr;
    const HeldIniFile held;
    HeapBuffer names(heap, FirstNameListSize);
    DWORD result = ReadWholeNameList(&names, GetPrivateProfileSectionNamesA, path);
    if (result != DatabaseOk) return result;

    const DWORD bytesBefore = *total;
    Load load = {terminateStrings,    heap, path, total, listHead, cacheSize, catalogue, report,
                 SharedSections(heap)};
    result = LoadSections(&load, {names.text, names.text + names.size});
    const bool buffersReleased = load.shared.buffers.Release();
    if (!names.Release() || !buffersReleased) result = BlockNotReleased;
    // What was built is incomplete, then.
    if (held.HasMissedMemory()) return OutOfMemory;
    if (*listHead == nullptr && result != LoadAborted) return DatabaseCorrupt;
    if (result != DatabaseOk) return result;
    ClientIndex* const index = BuildClientIndex(heap, *listHead);
    (*listHead)->index = index;
    if (index == nullptr) return OutOfMemory;
    index->counts = load.counts;
    index->counts.cacheBytes = *total - bytesBefore;
    return DatabaseOk;
}
