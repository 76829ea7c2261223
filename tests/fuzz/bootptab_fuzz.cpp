// A database of any bytes: it loads or is refused, and each client it gives can be asked for.
#include <algorithm>
#include <cstring>
#include <fstream>
#include <vector>

#include "database/database_result.h"
#include "database/load/client_list.h"
#include "database/lookup/find_client.h"
#include "fuzz/reply_rules.h"
#include "temporary_folder.h"

namespace {

constexpr IpAddress Server = {{10, 0, 0, 1}};
constexpr int MostAsked = 6;

// The vendor areas of the requests, each in a packet of so many bytes.
struct Question {
    std::size_t length;
    std::vector<std::uint8_t> options;
};
const Question Questions[] = {{300, {}},
                              {300, {53, 1, 1, 255}},
                              {300, {53, 1, 3, 55, 4, 1, 3, 12, 6, 255}},
                              {247, {0, 53, 1, 3}},
                              {240, {}}};

int IgnoreReport(const char*) {
    return 0;
}

struct Database {
    ~Database() {
        for (ClientEntry* entry = list; entry != nullptr; entry = entry->next)
            if (entry->mutex != nullptr) CloseHandle(entry->mutex);
        expect(HeapDestroy(heap) != FALSE, "the heap goes as a whole");
    }
    bool Load(const std::string& path) {
        DWORD result = CatalogueTooSmall;
        for (DWORD capacity = 40; result == CatalogueTooSmall; capacity *= 8) {
            rows.assign(capacity, OptionDefinition{});
            result = ReadOptionCatalogue(heap, path.c_str(), capacity, rows.data());
        }
        if (result != DatabaseOk) return false;
        DWORD cacheLeft = 0, total = 0;
        return LoadClientDatabase(0, heap, path.c_str(), &total, &list, &cacheLeft, rows.data(),
                                  IgnoreReport) == DatabaseOk;
    }

    std::vector<OptionDefinition> rows;
    HANDLE heap = HeapCreate(0, 20000, 0);
    ClientEntry* list = nullptr;
};

void ExpectSoundTemplate(const ClientEntry* entry) {
    const std::uint8_t* options = Options(&entry->packet);
    LONG at = 0;
    while (at < entry->templateCapacity && options[at] != TagEnd)
        at += 2 + (at + 1 < entry->templateCapacity ? options[at + 1] : 0);
    expect(at < entry->templateCapacity, "a template ends within its block");
}

void Ask(Database* database, HANDLE mutex, const std::string& path, const BootPacket& client,
         const Question& question) {
    std::vector<std::uint8_t> request(question.length);
    auto* packet = reinterpret_cast<BootPacket*>(request.data());
    packet->op = BootRequestOpcode;
    packet->htype = client.htype;
    packet->hlen = client.hlen;
    std::memcpy(packet->chaddr, client.chaddr, sizeof packet->chaddr);
    std::strcpy(packet->file, "lab.img");
    std::copy_n(question.options.begin(),
                std::min(question.options.size(), question.length - sizeof(BootPacket)),
                request.begin() + sizeof(BootPacket));
    std::vector<std::uint8_t> reply = request;  // its block ends where the packet ends
    char media[100] = {};
    DWORD total = 0;
    const int status = FindClient(0, database->heap, path.c_str(), &total, database->list,
                                  database->rows.data(), reinterpret_cast<BootPacket*>(reply.data()),
                                  reply.data() + reply.size(), Server, mutex, 1, media);
    expect(status >= FindTransientDhcp && status <= FindMutexFailed, "a lookup has one of its results");
    expect(std::memchr(media, '\0', sizeof media) != nullptr, "a media address is a text");
    expect(status > FindListedBootp || std::memcmp(request.data() + 28, reply.data() + 28, 16) == 0,
           "the reply is the client's");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TemporaryFolder folder;
    static const std::string path = folder.Path("bootptab");
    static const HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    Database database;
    if (!database.Load(path)) return 0;
    int asked = 0;
    for (const ClientEntry* entry = database.list; entry != nullptr; entry = entry->next) {
        ExpectSoundTemplate(entry);
        if (++asked > MostAsked) continue;
        for (const Question& question : Questions)
            Ask(&database, mutex, path, entry->packet, question);
    }
    BootPacket unknown = {};
    unknown.htype = 1;
    unknown.hlen = 6;
    std::memcpy(unknown.chaddr, "\x00\xA0\x24\x12\x34\x99", 6);
    for (const Question& question : Questions)
        Ask(&database, mutex, path, unknown, question);
    return 0;
}
