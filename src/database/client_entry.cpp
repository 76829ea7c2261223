#include "database/client_entry.h"

#include <algorithm>
#include <cstring>

#include "database/boot_file.h"
#include "database/database_result.h"
#include "database/name_list.h"
#include "database/option_encoding.h"
#include "database/shared_sections.h"

namespace {

constexpr char TemplatePrefix[] = "Template:";
constexpr char TemplateKey[] = "Template";
constexpr IpAddress RfcCookie = {{99, 130, 83, 99}};

// Names that end within 4095 bytes are the section's keys. The list is read with a byte to spare, so that a
// name that fills the last byte can be told from one that was cut there.
constexpr DWORD KeyListRead = FirstNameListSize + 1;

struct Build {
    DWORD terminateStrings;
    const char* path;
    const OptionDefinition* catalogue;
    BootPacket* packet;
    BYTE* cursor;
    BYTE* limit;
    SharedSections* shared;
};

// A section whose keys are to be encoded. `shared` is null for one that a single client reads.
struct KeySection {
    const char* name;
    NameList keys;
    bool isWhole;  // false if there may be keys that the list doesn't show
    SharedSections* shared;
};

KeySection ReadKeys(HeapBuffer* buffer, const char* name, SharedSections* shared, const char* path) {
    const DWORD length = ReadSharedText(shared, name, nullptr, "", buffer->text, KeyListRead, path);
    const NameList keys = {buffer->text, buffer->text + FirstNameListSize - 1};
    return {name, keys, length < KeyListRead - 2, shared};
}

DWORD Encode(Build* build, const char* key, char* value) {
    const EncodedOption encoded = EncodeOptionValue(build->terminateStrings, build->catalogue, build->packet,
                                                    build->cursor, build->limit, key, value);
    if (encoded.outcome == EncodeOutcome::NoRoom) return EntryTooSmall;
    if (encoded.outcome == EncodeOutcome::Malformed) return EntryMalformed;
    build->cursor = encoded.cursor;
    return DatabaseOk;
}

// Encodes the keys of one section in file order, but for those in `overridden`.
DWORD EncodeKeys(Build* build, const KeySection& section, const NameList* overridden) {
    NameList keys = section.keys;
    while (const char* key = NextName(&keys)) {
        if (overridden != nullptr && HasName(*overridden, key)) continue;
        char value[OptionValueSize];
        ReadSharedText(section.shared, section.name, key, "", value, OptionValueRead, build->path);
        const DWORD result = Encode(build, key, value);
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
    return EncodeKeys(build, ReadKeys(buffer, section, build->shared, build->path), &client.keys);
}

DWORD EncodeClient(Build* build, HeapBuffer* templateBuffer, HeapBuffer* clientBuffer) {
    char section[HardwareTextSize] = {};
    ConvertHardwareAddress(build->packet->chaddr, section, build->packet->hlen);
    const KeySection client = ReadKeys(clientBuffer, section, nullptr, build->path);
    if (*client.keys.at == '\0') return NoClientSection;

    DWORD result = EncodeTemplate(build, client, templateBuffer);
    if (result == DatabaseOk) result = EncodeKeys(build, client, nullptr);
    char nothing[2] = {};
    if (result == DatabaseOk) result = Encode(build, "", nothing);  // the end mark
    if (result != DatabaseOk) return result;
    return ReplaceByAlias(build->packet, build->path, build->shared) ? DatabaseOk : EntryMalformed;
}

ClientEntry* AllocateBlock(HANDLE heap, DWORD size, const BYTE* hardwareAddress, BYTE hlen) {
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
    HeapBuffer templateBuffer(heap, KeyListRead);
    HeapBuffer clientBuffer(heap, KeyListRead);
    DWORD result = OutOfMemory;
    if (templateBuffer.text != nullptr && clientBuffer.text != nullptr) {
        packet->cookie = RfcCookie;
        packet->op = 0;
        packet->htype = 1;
        Build build = {terminateStrings, path, catalogue, packet, Options(packet), limit, shared};
        result = EncodeClient(&build, &templateBuffer, &clientBuffer);
    }
    const bool templateReleased = templateBuffer.Release();
    const bool clientReleased = clientBuffer.Release();
    return templateReleased && clientReleased ? result : BlockNotReleased;
}

ClientEntry* AllocateClientEntry(DWORD terminateStrings, HANDLE heap, const char* path, DWORD* total,
                                 DWORD* status, const OptionDefinition* catalogue,
                                 const BYTE* hardwareAddress, BYTE hlen, SharedSections* shared) {
    constexpr DWORD largestTemplate = LargestEntryImage - sizeof(BootPacket);
    DWORD size = EntryUnit;
    DWORD result = OutOfMemory;
    ClientEntry* entry = AllocateBlock(heap, size, hardwareAddress, hlen);
    while (entry != nullptr) {
        const DWORD room = std::min(size - EntryOverhead, largestTemplate);
        BYTE* options = Options(&entry->packet);
        result =
            BuildClientEntry(terminateStrings, heap, path, catalogue, &entry->packet, options + room, shared);
        if (result == EntryTooSmall && room == largestTemplate) result = EntryMalformed;
        if (result != EntryTooSmall) break;
        if (!HeapFree(heap, 0, entry)) {
            *status = BlockNotReleased;
            return nullptr;
        }
        size += EntryUnit;
        entry = AllocateBlock(heap, size, hardwareAddress, hlen);
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
