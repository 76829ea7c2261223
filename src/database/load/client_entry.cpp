#include "database/client_entry.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "database/boot_file.h"
#include "database/database_result.h"
#include "database/load/name_list.h"
#include "database/load/option_encoding.h"
#include "database/load/shared_sections.h"
#include "platform/held_ini_file.h"
#include "platform/lazy_release.h"

namespace {

constexpr char TemplatePrefix[] = "Template:";
constexpr char TemplateKey[] = "Template";
constexpr IpAddress RfcCookie = {{99, 130, 83, 99}};

struct Build {
    DWORD terminateStrings;
    const char* path;
    const OptionDefinition* catalogue;
    BootPacket* packet;
    BYTE* cursor;
    BYTE* limit;
    SectionMemo* memo;  // may be null
};

DWORD Accept(Build* build, const EncodedOption& encoded) {
    if (encoded.outcome == EncodeOutcome::NoRoom) return EntryTooSmall;
    if (encoded.outcome == EncodeOutcome::Malformed) return EntryMalformed;
    build->cursor = encoded.cursor;
    return DatabaseOk;
}

DWORD Encode(Build* build, const OptionDefinition* definition, char* value) {
    return Accept(build, EncodeDefinedOption(build->terminateStrings, definition, build->packet,
                                             build->cursor, build->limit, value));
}

DWORD MarkEnd(Build* build) {
    char nothing[2] = {};
    return Encode(build, nullptr, nothing);
}

// The keys of a section in file order, read from the file as they are asked for.
struct FileKeys {
    const Build* build;
    KeySection section;
    const char* name = nullptr;

    bool Next() { return (name = NextName(&section.keys)) != nullptr; }
    const OptionDefinition* Read(char* value) const {
        GetPrivateProfileStringA(section.name, name, "", value, OptionValueRead, build->path);
        return FindOptionDefinition(build->catalogue, name);
    }
};

// Those of a template that the load has kept.
struct SharedKeys {
    std::span<const SharedKey> rest;
    const SharedKey* key = nullptr;
    const char* name = nullptr;

    bool Next() {
        if (rest.empty()) return false;
        key = &rest.front();
        name = key->name.c_str();
        rest = rest.subspan(1);
        return true;
    }
    const OptionDefinition* Read(char* value) const {
        std::memcpy(value, key->value.c_str(), key->value.size() + 1);
        return key->definition;
    }
};

// Encodes the keys but for those in `overridden`, which may be null.
template <class Keys>
DWORD EncodeKeys(Build* build, Keys keys, const NameSet* overridden) {
    while (keys.Next()) {
        if (overridden != nullptr && overridden->Has(keys.name)) continue;
        char value[OptionValueSize];
        const OptionDefinition* definition = keys.Read(value);
        const DWORD result = Encode(build, definition, value);
        if (result != DatabaseOk) return result;
    }
    return DatabaseOk;
}

DWORD EncodeTemplate(Build* build, const KeySection& client, HeapBuffer* buffer) {
    if (client.isWhole && !HasName(client.keys, TemplateKey)) return DatabaseOk;
    char section[sizeof(TemplatePrefix) + OptionValueSize];
    std::memcpy(section, TemplatePrefix, sizeof(TemplatePrefix));
    char* name = section + sizeof(TemplatePrefix) - 1;
    const DWORD length =
        GetPrivateProfileStringA(client.name, TemplateKey, "", name, OptionValueRead, build->path);
    if (length == 0) return DatabaseOk;
    if (length > LongestOptionValue) return EntryMalformed;
    const NameSet overridden(client.keys);
    if (build->memo != nullptr) {
        const auto* keys = RecallTemplate(build->memo, section, buffer, build->catalogue, build->path);
        if (keys != nullptr) return EncodeKeys(build, SharedKeys{*keys}, &overridden);
    }
    return EncodeKeys(build, FileKeys{build, ReadKeySection(buffer, section, build->path)}, &overridden);
}

DWORD EncodeClient(Build* build, KeyBuffers* buffers) {
    if (!buffers->AreThere()) return OutOfMemory;
    char section[HardwareTextSize] = {};
    ConvertHardwareAddress(build->packet->chaddr, section, build->packet->hlen);
    const KeySection client = ReadKeySection(&buffers->ofClient, section, build->path);
    if (*client.keys.at == '\0') return NoClientSection;

    DWORD result = EncodeTemplate(build, client, &buffers->ofTemplate);
    if (result == DatabaseOk) result = EncodeKeys(build, FileKeys{build, client}, nullptr);
    if (result == DatabaseOk) result = MarkEnd(build);
    if (result != DatabaseOk) return result;
    return ReplaceByAlias(build->packet, build->path, build->memo) ? DatabaseOk : EntryMalformed;
}

ClientEntry* AllocateEntryBlock(HANDLE heap, DWORD size, const BYTE* hardwareAddress, BYTE hlen) {
    auto* entry = static_cast<ClientEntry*>(
        HeapAlloc(heap, HEAP_ZERO_MEMORY, sizeof(ClientEntry) - EntryOverhead + size));
    if (entry == nullptr) return nullptr;
    std::memcpy(entry->packet.chaddr, hardwareAddress, HardwareAddressSize);
    entry->packet.hlen = hlen;
    entry->templateCapacity = static_cast<LONG>(size - EntryOverhead);
    return entry;
}

}  // namespace

DWORD BuildClientEntry(DWORD terminateStrings, HANDLE heap, const char* path,
                       const OptionDefinition* catalogue, BootPacket* packet, BYTE* limit,
                       SharedSections* shared) {
    packet->cookie = RfcCookie;
    packet->op = 0;
    packet->htype = 1;
    Build build = {terminateStrings, path, catalogue, packet, Options(packet), limit, nullptr};
    if (shared != nullptr) build.memo = &shared->memo;
    if (shared != nullptr && shared->buffers.AreThere()) return EncodeClient(&build, &shared->buffers);
    const HeldIniFile held;
    if (shared == nullptr) build.memo = ThreadsMemo(held.ContentNumber(path), heap, catalogue);
    KeyBuffers buffers(heap);
    const DWORD result = EncodeClient(&build, &buffers);
    return buffers.Release() ? result : BlockNotReleased;
}

ClientEntry* AllocateClientEntry(DWORD terminateStrings, HANDLE heap, const char* path, DWORD* total,
                                 DWORD* status, const OptionDefinition* catalogue,
                                 const BYTE* hardwareAddress, BYTE hlen, SharedSections* shared) {
    const HeldIniFile held;
    constexpr DWORD LargestTemplate = LargestEntryImage - sizeof(BootPacket);
    constexpr DWORD LongBuild = 3 * EntryUnit;  // from here on it takes a while
    DWORD size = EntryUnit;
    DWORD result = OutOfMemory;
    ClientEntry* entry = AllocateEntryBlock(heap, size, hardwareAddress, hlen);
    while (entry != nullptr) {
        const DWORD room = std::min(size - EntryOverhead, LargestTemplate);
        BYTE* options = Options(&entry->packet);
        result =
            BuildClientEntry(terminateStrings, heap, path, catalogue, &entry->packet, options + room, shared);
        if (result == EntryTooSmall && room == LargestTemplate) result = EntryMalformed;
        if (held.HasMissedMemory()) result = OutOfMemory;
        if (result != EntryTooSmall) break;
        if (size == LongBuild) ExpectHoldUp();
        if (!HeapFree(heap, 0, entry)) {
            *status = BlockNotReleased;
            return nullptr;
        }
        size += EntryUnit;
        entry = AllocateEntryBlock(heap, size, hardwareAddress, hlen);
    }
    if (entry == nullptr) {
        *status = OutOfMemory;
        return nullptr;
    }

    *total += size;
    *status = result == DatabaseOk && size > EntryUnit ? EntryTooSmall : result;
    if (result == DatabaseOk || result == EntryMalformed) return entry;
    HeapFree(heap, 0, entry);
    return nullptr;
}
