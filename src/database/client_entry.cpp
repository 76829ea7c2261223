#include "database/client_entry.h"

#include <algorithm>
#include <cstring>

#include "database/boot_file.h"
#include "database/database_result.h"
#include "database/name_list.h"
#include "database/option_encoding.h"

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
};

NameList ReadKeys(HeapBuffer* buffer, const char* section, const char* path) {
    GetPrivateProfileStringA(section, nullptr, "", buffer->text, KeyListRead, path);
    return {buffer->text, buffer->text + FirstNameListSize - 1};
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
DWORD EncodeKeys(Build* build, const char* section, NameList keys, const NameList* overridden) {
    while (const char* key = NextName(&keys)) {
        if (overridden != nullptr && HasName(*overridden, key)) continue;
        char value[OptionValueSize];
        GetPrivateProfileStringA(section, key, "", value, OptionValueRead, build->path);
        const DWORD result = Encode(build, key, value);
        if (result != DatabaseOk) return result;
    }
    return DatabaseOk;
}

DWORD EncodeTemplate(Build* build, const char* clientSection, NameList clientKeys, HeapBuffer* buffer) {
    char section[sizeof(TemplatePrefix) + OptionValueSize];
    std::memcpy(section, TemplatePrefix, sizeof(TemplatePrefix));
    char* name = section + sizeof(TemplatePrefix) - 1;
    const DWORD length =
        GetPrivateProfileStringA(clientSection, TemplateKey, "", name, OptionValueRead, build->path);
    if (length == 0) return DatabaseOk;
    if (length > LongestOptionValue) return EntryMalformed;
    return EncodeKeys(build, section, ReadKeys(buffer, section, build->path), &clientKeys);
}

DWORD EncodeClient(Build* build, HeapBuffer* templateBuffer, HeapBuffer* clientBuffer) {
    char section[HardwareTextSize] = {};
    ConvertHardwareAddress(build->packet->chaddr, section, build->packet->hlen);
    const NameList keys = ReadKeys(clientBuffer, section, build->path);
    if (*keys.at == '\0') return NoClientSection;

    DWORD result = EncodeTemplate(build, section, keys, templateBuffer);
    if (result == DatabaseOk) result = EncodeKeys(build, section, keys, nullptr);
    char nothing[2] = {};
    if (result == DatabaseOk) result = Encode(build, "", nothing);  // the end mark
    if (result != DatabaseOk) return result;
    return ReplaceByAlias(build->packet, build->path) ? DatabaseOk : EntryMalformed;
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
                       const OptionDefinition* catalogue, BootPacket* packet, BYTE* limit) {
    HeapBuffer templateBuffer(heap, KeyListRead);
    HeapBuffer clientBuffer(heap, KeyListRead);
    DWORD result = OutOfMemory;
    if (templateBuffer.text != nullptr && clientBuffer.text != nullptr) {
        packet->cookie = RfcCookie;
        packet->op = 0;
        packet->htype = 1;
        Build build = {terminateStrings, path, catalogue, packet, Options(packet), limit};
        result = EncodeClient(&build, &templateBuffer, &clientBuffer);
    }
    const bool templateReleased = templateBuffer.Release();
    const bool clientReleased = clientBuffer.Release();
    return templateReleased && clientReleased ? result : BlockNotReleased;
}

ClientEntry* AllocateClientEntry(DWORD terminateStrings, HANDLE heap, const char* path, DWORD* total,
                                 DWORD* status, const OptionDefinition* catalogue,
                                 const BYTE* hardwareAddress, BYTE hlen) {
    constexpr DWORD largestTemplate = LargestEntryImage - sizeof(BootPacket);
    DWORD size = EntryUnit;
    DWORD result = OutOfMemory;
    ClientEntry* entry = AllocateBlock(heap, size, hardwareAddress, hlen);
    while (entry != nullptr) {
        const DWORD room = std::min(size - EntryOverhead, largestTemplate);
        BYTE* options = Options(&entry->packet);
        result = BuildClientEntry(terminateStrings, heap, path, catalogue, &entry->packet, options + room);
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
