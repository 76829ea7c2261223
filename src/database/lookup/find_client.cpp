#include "database/lookup/find_client.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "database/boot_file.h"
#include "database/database_result.h"
#include "database/lookup/client_index.h"
#include "database/lookup/vendor_area.h"
#include "database/lookup/walking_lock.h"
#include "platform/held_ini_file.h"
#include "platform/prefetch.h"

namespace {

constexpr std::size_t AddressOffset = offsetof(BootPacket, chaddr);

// The bytes that a request is looked up by: sixteen, or as many as `length` says. Beyond the packet's fixed
// part and its end they are zeros.
struct ClientKey {
    const BYTE* bytes;
    BYTE length;
};

// A key that doesn't lie in the fixed part of the packet as it is takes up `room`.
ClientKey KeyOf(const BootPacket* packet, const BYTE* end, BYTE (&room)[256]) {
    const auto* start = reinterpret_cast<const BYTE*>(packet);
    if (packet->hlen <= HardwareAddressSize) return {start + AddressOffset, packet->hlen};
    const std::ptrdiff_t readable = std::max<std::ptrdiff_t>(end - start, sizeof(BootPacket)) - AddressOffset;
    const auto present = static_cast<std::size_t>(std::min<std::ptrdiff_t>(readable, packet->hlen));
    std::memcpy(room, start + AddressOffset, present);
    std::memset(room + present, 0, packet->hlen - present);
    return {room, packet->hlen};
}

struct Lookup {
    const char* path;
    BootPacket* packet;
    BYTE* end;
    IpAddress serverAddress;
    DWORD expireHits;
    char* arpMacText;
};

enum class Search { Found, Absent, MutexFailed, Retired };

// Each search returns Found with the entry's guard held.

Search SearchChain(ClientEntry* listHead, HANDLE listMutex, const ClientKey& key, WalkingLock* hold,
                   ClientEntry** found) {
    if (!hold->StepTo(listMutex)) return Search::MutexFailed;
    if (IsRetired(listHead)) return Search::Retired;
    for (ClientEntry* entry = listHead; entry != nullptr; entry = entry->next) {
        *found = entry;
        if (HasAddress(entry, key.bytes, key.length)) return Search::Found;
        if (!hold->StepTo(entry->mutex)) return Search::MutexFailed;
    }
    return Search::Absent;
}

Search SearchIndex(ClientEntry* listHead, HANDLE listMutex, const ClientKey& key, WalkingLock* hold,
                   ClientEntry** found) {
    if (!hold->StepTo(listMutex)) return Search::MutexFailed;
    if (IsRetired(listHead)) return Search::Retired;
    const IndexedClient* const client = FindIndexedClient(listHead->index, key.bytes, key.length);
    if (client == nullptr) return Search::Absent;
    if (client->guard != nullptr && !hold->StepTo(client->guard)) return Search::MutexFailed;
    *found = client->entry;
    return Search::Found;
}

Search SearchList(ClientEntry* listHead, HANDLE listMutex, const ClientKey& key, WalkingLock* hold,
                  ClientEntry** found) {
    const bool isIndexed = listHead != nullptr && listHead->index != nullptr;
    const Search outcome = isIndexed ? SearchIndex(listHead, listMutex, key, hold, found)
                                     : SearchChain(listHead, listMutex, key, hold, found);
    if (outcome != Search::Found) hold->Release();
    return outcome;
}

void CountHit(ClientEntry* entry, DWORD expireHits) {
    ++entry->hits;
    if (expireHits != 0 && entry->hits == expireHits) GetLocalTime(&entry->stamp);
}

void CopyFixedFields(const ClientEntry* entry, const Lookup& request) {
    const BootPacket& image = entry->packet;
    BootPacket* packet = request.packet;
    packet->yiaddr = image.yiaddr;
    std::memcpy(packet->file, image.file, std::min(BootFileLength(&image) + 1, BootFileSize));
    packet->cookie = image.cookie;
    packet->op = image.op;
    packet->siaddr = request.serverAddress;
}

// Of the file that a request names; empty if there is none.
void ReadAliasOfWanted(const BootPacket& request, char (&alias)[BootFileSize + 1], const char* path) {
    char wanted[BootFileSize + 1];
    const std::size_t length = BootFileLength(&request);
    std::memcpy(wanted, request.file, length);
    wanted[length] = '\0';
    ReadAlias(wanted, "", alias, sizeof alias, path);
}

// Turns the request into the reply that the entry makes of it. The calling thread holds the guard of a listed
// entry.
int AnswerFromEntry(ClientEntry* entry, bool listed, const Lookup& request) {
    BootPacket* packet = request.packet;
    if (entry->packet.htype != packet->htype) return FindOtherHardwareType;

    char alias[BootFileSize + 1];  // an alias of 128 characters shows that it is too long
    const bool wantsAlias = packet->file[0] != '\0' && (entry->packet.op & FileAlias) != 0;
    if (wantsAlias) {
        const HeldIniFile held{HeldIniFile::SinceLastDatagram{}};
        ReadAliasOfWanted(*packet, alias, request.path);
        if (held.HasMissedMemory()) return FindRefused;
        if (std::strlen(alias) >= BootFileSize) return FindMalformed;
    }

    if (listed) CountHit(entry, request.expireHits);
    CopyFixedFields(entry, request);
    if ((packet->op & ArpMac) != 0) CopyMediaText(&entry->packet, request.arpMacText);

    BYTE* options = Options(packet);
    if ((packet->op & IgnoreClientVendor) != 0 && options < request.end) *options = TagEnd;
    int status = listed ? FindListedBootp : FindTransientBootp;
    if (FitVendorOptions(options, request.end, entry) == VendorFit::DhcpShaped) {
        if (!ComposeDhcpReply(packet, request.end, entry, request.serverAddress)) return FindRefused;
        status = listed ? FindListedDhcp : FindTransientDhcp;
    }
    if (wantsAlias) std::strcpy(packet->file, alias);
    return status;
}

}  // namespace

void AnticipateClients(const ClientEntry* listHead, const Arrival* requests, std::size_t count) {
    if (listHead == nullptr || listHead->index == nullptr) return;
    const ClientIndex* const index = listHead->index;
    const auto hasAddress = [](const Arrival& request) {
        return request.length >= AddressOffset + HardwareAddressSize;
    };
    for (const Arrival* request = requests; request != requests + count; ++request)
        if (hasAddress(*request)) PrefetchIndexSlot(index, request->data + AddressOffset);
    for (const Arrival* request = requests; request != requests + count; ++request) {
        if (!hasAddress(*request)) continue;
        const BYTE length = request->data[offsetof(BootPacket, hlen)];
        const IndexedClient* const client = GuessIndexedClient(index, request->data + AddressOffset, length);
        if (client != nullptr) PrefetchMutex(client->guard);
    }
}

int FindClient(DWORD terminateStrings, HANDLE heap, const char* path, DWORD* total, ClientEntry* listHead,
               const OptionDefinition* catalogue, BootPacket* packet, const BYTE* end,
               IpAddress serverAddress, HANDLE listMutex, DWORD expireHits, char* arpMacText,
               ClientEntry** listed) {
    BYTE* block = reinterpret_cast<BYTE*>(packet);
    const Lookup request = {path, packet, block + (end - block), serverAddress, expireHits, arpMacText};
    BYTE keyRoom[256];
    WalkingLock hold;
    ClientEntry* entry = nullptr;
    switch (SearchList(listHead, listMutex, KeyOf(packet, end, keyRoom), &hold, &entry)) {
        case Search::Found:
            if (listed != nullptr) *listed = entry;
            return AnswerFromEntry(entry, true, request);
        case Search::MutexFailed:
            return FindMutexFailed;
        case Search::Retired:
            return FindListRetired;
        case Search::Absent:
            break;
    }

    const HeldIniFile held{HeldIniFile::SinceLastDatagram{}};
    DWORD status = DatabaseOk;
    entry = AllocateClientEntry(terminateStrings, heap, path, total, &status, catalogue, packet->chaddr,
                                packet->hlen);
    if (entry == nullptr) return FindUnknownClient;
    const int result = status == EntryMalformed ? FindMalformed : AnswerFromEntry(entry, false, request);
    HeapFree(heap, 0, entry);
    return result;
}
