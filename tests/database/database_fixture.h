// What the tests of the client database share: a heap, a bootptab of the test's own, and requests.
#pragma once

#include <gtest/gtest.h>

#include "database/client_entry.h"
#include "database/load/client_list.h"
#include "database/lookup/find_client.h"
#include "platform/windows_api.h"
#include "temporary_folder.h"

using Bytes = std::vector<BYTE>;

// A catalogue and a client of every kind of key, with a template and an alias.
extern const char ExampleBootptab[];
extern const BYTE ExampleAddress[HardwareAddressSize];

constexpr IpAddress TestServer = {{10, 0, 0, 1}};

// A request in a block that ends where its packet ends, or behind the fixed part of a shorter one.
struct Datagram {
    Bytes block;
    std::size_t length;

    Datagram(std::size_t packetLength, const Bytes& address, const Bytes& options = {});
    BootPacket* Packet() { return reinterpret_cast<BootPacket*>(block.data()); }
    BYTE* End() { return block.data() + length; }
    Bytes Range(std::size_t from, std::size_t to) const { return {block.begin() + from, block.begin() + to}; }
};

class DatabaseTest : public ::testing::Test {
  protected:
    DatabaseTest();
    ~DatabaseTest() override;

    // Writes the file and reads its catalogue.
    void WriteBootptab(const std::string& text);
    DWORD Load(DWORD cacheSize = 0);
    int Find(Datagram* datagram, DWORD expireHits = 0);
    ClientEntry* Build(const Bytes& address, DWORD* status, DWORD terminateStrings = 0);

    HANDLE heap;
    HANDLE listMutex;
    const TemporaryFolder folder;
    const std::string path;
    std::vector<OptionDefinition> catalogue;
    ClientEntry* list = nullptr;
    DWORD total = 0;
    DWORD cacheLeft = 0;
    std::vector<std::string> reported;
    char arpMacText[100] = {};
};

// The bytes of an entry's template up to and with its end mark.
Bytes TemplateOf(const ClientEntry* entry);
