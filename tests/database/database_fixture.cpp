#include "database_fixture.h"

#include <cstring>
#include <fstream>

#include "database/database_result.h"

const char ExampleBootptab[] =
    "[Options]\n"
    "Subnet Mask = 1,ipaddress\n"
    "Gateways = 3,ipaddressarray\n"
    "Host Name = 12,string\n"
    "Lease Time = 51,time\n"
    "IP Address = -2,ipaddress\n"
    "Boot File = -1,string\n"
    "Template = -1000,string\n"
    "Directed Reply = -9,bool\n"
    "Hardware Type = -4,int\n"
    "Cookie = -6,ipaddress\n"
    "Alias Files = -7,bool\n"
    "Always Broadcast = -8,bool\n"
    "Plain Only = -10,bool\n"
    "Media = -11,string\n"
    "Filler = 200,string\n"
    "Times = 201,time\n"
    "[Template:lab]\n"
    "Subnet Mask = 255.255.255.0\n"
    "Gateways = 10.0.0.1,10.0.0.2\n"
    "Lease Time = 1:00:00\n"
    "Boot File = lab.img\n"
    "[00-a0-24-12-34-56]\n"
    "Template = lab\n"
    "IP Address = 10.0.0.17\n"
    "Gateways = 10.0.0.254\n"
    "Host Name = pc17\n"
    "Directed Reply = 1\n"
    "[File Aliases]\n"
    "lab.img = lab-new.img\n";

const BYTE ExampleAddress[HardwareAddressSize] = {0x00, 0xA0, 0x24, 0x12, 0x34, 0x56};

Datagram::Datagram(std::size_t packetLength, const Bytes& address, const Bytes& options)
    : block(std::max(packetLength, sizeof(BootPacket))), length(packetLength) {
    Packet()->op = BootRequestOpcode;
    Packet()->htype = 1;
    Packet()->hlen = static_cast<BYTE>(address.size());
    std::copy_n(address.begin(), std::min<std::size_t>(address.size(), HardwareAddressSize),
                Packet()->chaddr);
    if (!options.empty()) std::copy(options.begin(), options.end(), block.begin() + sizeof(BootPacket));
}

DatabaseTest::DatabaseTest()
    : heap(HeapCreate(0, 20000, 0)),
      listMutex(CreateMutexA(nullptr, FALSE, nullptr)),
      path(folder.Path("bootptab")) {}

DatabaseTest::~DatabaseTest() {
    for (ClientEntry* entry = list; entry != nullptr; entry = entry->next)
        CloseHandle(entry->mutex);
    CloseHandle(listMutex);
    HeapDestroy(heap);
}

void DatabaseTest::WriteBootptab(const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    catalogue.assign(64, OptionDefinition{});
    ASSERT_EQ(ReadOptionCatalogue(heap, path.c_str(), 64, catalogue.data()), DatabaseOk);
}

DWORD DatabaseTest::Load(DWORD cacheSize) {
    static std::vector<std::string>* reports;
    reports = &reported;
    cacheLeft = cacheSize;
    return LoadClientDatabase(0, heap, path.c_str(), &total, &list, &cacheLeft, catalogue.data(),
                              [](const char* name) {
                                  reports->push_back(name);
                                  return 0;
                              });
}

int DatabaseTest::Find(Datagram* datagram, DWORD expireHits) {
    return FindClient(0, heap, path.c_str(), &total, list, catalogue.data(), datagram->Packet(),
                      datagram->End(), TestServer, listMutex, expireHits, arpMacText);
}

ClientEntry* DatabaseTest::Build(const Bytes& address, DWORD* status, DWORD terminateStrings) {
    BYTE padded[HardwareAddressSize] = {};
    std::copy(address.begin(), address.end(), padded);
    return AllocateClientEntry(terminateStrings, heap, path.c_str(), &total, status, catalogue.data(), padded,
                               static_cast<BYTE>(address.size()));
}

Bytes TemplateOf(const ClientEntry* entry) {
    const BYTE* options = Options(&entry->packet);
    LONG size = 0;
    while (size < entry->templateCapacity && options[size] != TagEnd)
        size += 2 + options[size + 1];
    return {options, options + size + 1};
}
