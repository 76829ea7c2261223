#include "sample_database.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "database/database_result.h"
#include "request/boot_packet.h"

namespace {

constexpr char Head[] =
    "[Options]\nSubnet Mask=1,ipaddress\nGateways=3,ipaddressarray\nName Servers=6,ipaddressarray\n"
    "Host Name=12,string\nDomain=15,string\nBroadcast=28,ipaddress\nLease Time=51,time\nIP "
    "Address=-2,ipaddress\n"
    "Boot File=-1,string\nTemplate=-1000,string\n[Template:lab]\nDomain=lab.example\n";

HANDLE Require(HANDLE handle) {
    if (handle == nullptr) std::abort();
    return handle;
}

}  // namespace

void SampleAddress(DWORD number, BYTE* address) {
    // An odd factor permutes the 24 bits, so the last three bytes look as random as a purchased batch.
    const DWORD serial = (number / 20 * 0x9E3779B1u) & 0xFFFFFF;
    const BYTE bytes[] = {0x00,
                          0x1A,
                          static_cast<BYTE>(number % 20),
                          static_cast<BYTE>(serial >> 16),
                          static_cast<BYTE>(serial >> 8),
                          static_cast<BYTE>(serial)};
    for (std::size_t at = 0; at < sizeof(bytes); ++at)
        address[at] = bytes[at];
}

SampleDatabase::SampleDatabase(DWORD clients)
    : heap(Require(HeapCreate(0, 20000, 0))), listMutex(Require(CreateMutexA(nullptr, FALSE, nullptr))) {
    path = (std::filesystem::temp_directory_path() / ("quillon-bench-" + std::to_string(clients))).string();
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << Head;
    for (DWORD number = 0; number < clients; ++number) {
        BYTE address[HardwareAddressSize] = {};
        SampleAddress(number, address);
        char name[HardwareTextSize] = {};
        ConvertHardwareAddress(address, name, 6);
        char keys[512];
        std::snprintf(keys, sizeof(keys),
                      "[%s]\nTemplate=lab\nIP Address=10.%u.%u.%u\nSubnet Mask=255.0.0.0\nGateways=10.0.0.1\n"
                      "Name Servers=10.0.0.2,10.0.0.3\nHost Name=host%u\nBroadcast=10.255.255.255\n"
                      "Lease Time=8:00:00\nBoot File=boot.img\nDomain=example\n",
                      name, number >> 16 & 255, number >> 8 & 255, number & 255, number);
        file << keys;
    }
    file.close();
    catalogue.resize(32);
    if (ReadOptionCatalogue(heap, path.c_str(), 32, catalogue.data()) != DatabaseOk) std::abort();
}

SampleDatabase::~SampleDatabase() {
    Unload();
    HeapDestroy(heap);
    CloseHandle(listMutex);
    std::filesystem::remove(path);
}

DWORD SampleDatabase::Load() {
    DWORD cacheSize = 0;
    return LoadClientDatabase(0, heap, path.c_str(), &total, &list, &cacheSize, catalogue.data(),
                              [](const char*) { return 0; });
}

void SampleDatabase::Unload() {
    for (ClientEntry* entry = list; entry != nullptr; entry = entry->next)
        CloseHandle(entry->mutex);
    list = nullptr;
    HeapDestroy(heap);
    heap = Require(HeapCreate(0, 20000, 0));
}
