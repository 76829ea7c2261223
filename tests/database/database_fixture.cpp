#include "database_fixture.h"

#include <cstring>
#include <fstream>

#include "database/database_result.h"

const char ExampleBootptab[] =
    "[Options]\nSubnet Mask = 1,ipaddress\nGateways = 3,ipaddressarray\nHost Name = 12,string\n"
    "Lease Time = 51,time\nIP Address = -2,ipaddress\nBoot File = -1,string\n"
    "Template = -1000,string\nDirected Reply = -9,bool\nHardware Type = -4,int\n"
    "Cookie = -6,ipaddress\nAlias Files = -7,bool\nAlways Broadcast = -8,bool\n"
    "Plain Only = -10,bool\nMedia = -11,string\nFiller = 200,string\nTimes = 201,time\n"
    "[Template:lab]\nSubnet Mask = 255.255.255.0\nGateways = 10.0.0.1,10.0.0.2\n"
    "Lease Time = 1:00:00\nBoot File = lab.img\n"
    "[00-a0-24-12-34-56]\nTemplate = lab\nIP Address = 10.0.0.17\nGateways = 10.0.0.254\n"
    "Host Name = pc17\nDirected Reply = 1\n"
    "[File Aliases]\nlab.img = lab-new.img\n";

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
