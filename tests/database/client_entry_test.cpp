#include "database/client_entry.h"

#include "database/boot_file.h"
#include "database/database_result.h"
#include "database_fixture.h"
#include "platform/successor.h"

namespace {

const Bytes Client = {0, 1, 2, 3, 4, 5};

class ClientEntryTest : public DatabaseTest {
  protected:
    // The example's catalogue with a client 00-01-02-03-04-05 and whatever else.
    ClientEntry* BuildClient(const std::string& keys, DWORD* status, const std::string& more = "") {
        const std::string example = ExampleBootptab;
        WriteBootptab(example.substr(0, example.find("[Template")) + "[00-01-02-03-04-05]\n" + keys + more);
        return Build(Client, status);
    }
};

TEST_F(ClientEntryTest, Example) {
    WriteBootptab(ExampleBootptab);
    DWORD status = 99;
    const ClientEntry* entry = Build({ExampleAddress, ExampleAddress + 6}, &status);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(status, DatabaseOk);
    EXPECT_EQ(total, 332u);
    EXPECT_EQ(entry->templateCapacity, 60);
    EXPECT_EQ(entry->mutex, nullptr);
    const BootPacket& image = entry->packet;
    EXPECT_EQ(image.op, NoBroadcast);
    EXPECT_EQ(image.yiaddr, (IpAddress{{10, 0, 0, 17}}));
    EXPECT_EQ((Bytes{image.chaddr, image.chaddr + 16}), (Bytes{ExampleAddress, ExampleAddress + 16}));
    EXPECT_STREQ(image.file, "lab-new.img");
    EXPECT_EQ(image.cookie, (IpAddress{{0x63, 0x82, 0x53, 0x63}}));
    Bytes expected = {0x01, 4, 255, 255, 255,  0,     // Subnet Mask, from the template
                      0x33, 4, 0,   0,   0x0E, 0x10,  // Lease Time, from the template
                      0x03, 4, 10,  0,   0,    254,   // Gateways, the client's own
                      0x0C, 4, 'p', 'c', '1',  '7',   // Host Name
                      0xFF};
    expected.resize(60);
    EXPECT_EQ((Bytes{Options(&image), Options(&image) + 60}), expected);
}

TEST_F(ClientEntryTest, BlocksGrowByUnits) {
    // A string option, with two more bytes and the end mark behind it.
    for (const std::size_t text : {56u, 57u, 255u}) {
        DWORD status = 99;
        total = 1000;
        const ClientEntry* entry = BuildClient("Filler=" + std::string(text, 'f') + "\n", &status);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(status, text > 56 ? EntryTooSmall : DatabaseOk);
        EXPECT_EQ(entry->templateCapacity, text > 56 ? 392 : 60);
        EXPECT_EQ(total, text > 56 ? 1664u : 1332u);
        EXPECT_EQ(TemplateOf(entry).size(), text + 3);
    }
}

TEST_F(ClientEntryTest, MergesTemplateAndClient) {
    const Bytes mask = {1, 4, 10, 0, 0, 0, 255};
    const Bytes host = {12, 1, 'h', 255};
    const std::tuple<const char*, const char*, Bytes> cases[] = {
        {"template=T\nHost Name=h\n", "[template:t]\nHost Name=own\n", host},
        {"Template=t\n", "[Template:t]\nTemplate=u\nHost Name=h\n[Template:u]\nGateways=1.1.1.1\n", host},
        {"Template=t\nsubnet mask=10.0.0.0\n", "[Template:t]\nSubnet Mask=1.1.1.1\n", mask},
        {"Template=none\nHost Name=h\n", "", host},
        {"Template=\nUnknown=1\n", "", {255}},
        {"Host Name=h\nHost Name=x\n", "", {12, 1, 'h', 12, 1, 'h', 255}},
    };
    for (const auto& [keys, templates, options] : cases) {
        SCOPED_TRACE(keys);
        DWORD status = 99;
        const ClientEntry* entry = BuildClient(keys, &status, templates);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(TemplateOf(entry), options);
    }
}

TEST_F(ClientEntryTest, SectionsAndValuesThatMakeNoEntry) {
    const std::pair<std::string, DWORD> cases[] = {
        {"", NoClientSection},
        {"; a remark\n", NoClientSection},
        {"Times=1:30\n", EntryMalformed},
        {"Boot File=" + std::string(128, 'x') + "\n", EntryMalformed},
        {"Template=" + std::string(1024, 'x') + "\n", EntryMalformed},
        {"Template=" + std::string(1023, 'x') + "\n", DatabaseOk},
        {"Unknown=" + std::string(5000, 'x') + "\n", DatabaseOk},
    };
    for (const auto& [keys, expected] : cases) {
        DWORD status = 99;
        EXPECT_EQ(BuildClient(keys, &status) != nullptr, expected != NoClientSection);
        EXPECT_EQ(status, expected) << keys.substr(0, 20);
    }
}

// An image holds 150000 bytes at most: 582 options of 257 bytes leave 186, where a string of n bytes needs n
// plus 4.
TEST_F(ClientEntryTest, TheLargestEntry) {
    std::string text = "[Options]\nF=200,string\nG=201,string\n[00-01-02-03-04-05]\n";
    for (int at = 0; at < 582; ++at)
        text += "F=" + std::string(255, 'x') + "\n";
    for (const std::size_t rest : {182u, 183u}) {
        DWORD status = 99;
        WriteBootptab(text + "G=" + std::string(rest, 'g') + "\n");
        ASSERT_NE(Build(Client, &status), nullptr);
        EXPECT_EQ(status, rest == 182 ? EntryTooSmall : EntryMalformed);
    }
}

// The keys of one section are read into 4096 bytes: what doesn't end within is not seen, and no part of it is
// a key.
TEST_F(ClientEntryTest, KeysBeyondTheListAreNotSeen) {
    // "Host Name" ends at byte `end` of the list, its NUL included.
    for (const std::size_t end : {4094u, 4095u, 4096u, 4097u, 4104u, 4105u}) {
        SCOPED_TRACE(end);
        std::string keys;
        std::size_t size = 0;
        for (; size + 400 < end; size += 200)
            keys += std::to_string(1000 + size) + std::string(195, 'u') + "=1\n";
        keys += std::string(end - 10 - size - 1, 'v') + "=1\nHost Name=h\nFiller=f\n";
        DWORD status = 99;
        const ClientEntry* entry = BuildClient(keys, &status);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(TemplateOf(entry), end <= 4095 ? (Bytes{12, 1, 'h', 255}) : Bytes{255});
    }
}

TEST_F(ClientEntryTest, AliasesReplaceTheBootFileAndSpareTheMediaText) {
    const std::string usual(24, 's'), longest(127, 'l');
    const std::string aliases =
        "[File Aliases]\nshort=" + usual + "\nlong=" + longest + "l\nlongest=" + longest + "\nnone=\n";
    const struct {
        const char* keys;
        DWORD status;
        std::string file;
    } cases[] = {{"Boot File=SHORT\n", DatabaseOk, usual},
                 {"Boot File=other\n", DatabaseOk, "other"},
                 {"Boot File=none\n", DatabaseOk, ""},
                 {"Host Name=h\n", DatabaseOk, ""},
                 {"Boot File=longest\n", DatabaseOk, longest},
                 {"Boot File=long\n", EntryMalformed, ""},
                 {"Boot File=longest\nMedia=x\n", EntryMalformed, ""},
                 {"Boot File=short\nMedia=02-00-00\n", DatabaseOk, usual}};
    for (const auto& expected : cases) {
        SCOPED_TRACE(expected.keys);
        DWORD status = 99;
        const ClientEntry* entry = BuildClient(expected.keys, &status, aliases);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(status, expected.status);
        if (status != DatabaseOk) continue;
        EXPECT_EQ(entry->packet.file, expected.file);
        if ((entry->packet.op & ArpMac) != 0) {
            EXPECT_EQ(std::string(entry->packet.file + 120, 8), "02-00-00");
        }
    }
    // And where there is no memory to keep an alias.
    BootPacket image = {};
    StoreBootFile(&image, "longest");
    EXPECT_TRUE(ReplaceByAlias(&image, path.c_str(), nullptr));
    EXPECT_EQ(image.file, longest);
}

TEST_F(ClientEntryTest, ALongSectionPassesTheCallersMutexOn) {
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    for (const bool isLong : {false, true}) {
        std::string keys = "Filler=f\n";
        if (isLong) {
            const std::string text(255, 'f');
            keys = "Filler=" + text + "\nHost Name=" + text + "\nGateways=10.0.0.1";
            for (int i = 1; i < 60; ++i)
                keys += ",10.0.0.1";
            keys += '\n';
        }
        DWORD status = 99;
        BuildClient(keys, &status);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        ASSERT_NE(Build(Client, &status), nullptr);  // from here on the file isn't fresh, and not read again
        const auto limit = std::chrono::milliseconds(isLong ? 5000 : 20);
        bool passed = true;
        for (int tries = 0; passed && tries < (isLong ? 1 : 20); ++tries)
            passed = IsPassedOn(
                mutex, [&] { Build(Client, &status); }, limit);
        EXPECT_EQ(passed, isLong);
    }
    CloseHandle(mutex);
}

}  // namespace
