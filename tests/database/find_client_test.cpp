#include "database/lookup/find_client.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include "database/database_result.h"
#include "database/lookup/client_index.h"
#include "database_fixture.h"
#include "operation_watch.h"

namespace {

const Bytes Example = {ExampleAddress, ExampleAddress + 6};
const Bytes Discover = {53, 1, 1, 255};
const Bytes Inform = {53, 1, 8, 255};

class FindClientTest : public DatabaseTest {
  protected:
    // The example with more clients, the first `listed` of which the load takes into the list.
    void Prepare(const std::string& clients, DWORD listed = 0) {
        WriteBootptab(ExampleBootptab + clients);
        ASSERT_EQ(Load(listed), DatabaseOk);
    }

    // Whether another thread gets the mutex at once, so that no lookup has left it taken.
    static bool IsFree(HANDLE mutex) {
        bool taken = false;
        std::thread([&] {
            taken = WaitForSingleObject(mutex, 0) == WAIT_OBJECT_0;
            if (taken) ReleaseMutex(mutex);
        }).join();
        return taken;
    }
};

TEST_F(FindClientTest, Statuses) {
    Prepare("[00-01]\nHost Name=h\n[00-02]\nPlain Only=1\n[00-03]\nTimes=1\n[00-04]\nHardware Type=6\n", 1);
    const struct {
        Bytes address, options;
        int status;
        DWORD hits = 0;
        BYTE type = 1;
    } cases[] = {{Example, {}, FindListedBootp, 1},
                 {Example, Discover, FindListedDhcp, 1},
                 {Example, Inform, FindRefused, 1},
                 {{}, {}, FindListedBootp, 1},
                 {{0x00, 0xA0, 0x24}, {}, FindListedBootp, 1},
                 {Example, {}, FindOtherHardwareType, 0, 6},
                 {{0, 1}, {}, FindTransientBootp},
                 {{0, 1}, Discover, FindTransientDhcp},
                 {{0, 1}, Inform, FindRefused},
                 {{0, 2}, Discover, FindTransientBootp},
                 {{0, 3}, {}, FindMalformed},
                 {{0, 4}, {}, FindOtherHardwareType},
                 {{0, 5}, {}, FindUnknownClient}};
    for (const auto& expected : cases) {
        SCOPED_TRACE(::testing::PrintToString(expected.address));
        Datagram datagram(300, expected.address, expected.options);
        datagram.Packet()->htype = expected.type;
        const Bytes before = datagram.block;
        const DWORD hits = list->hits;
        EXPECT_EQ(Find(&datagram), expected.status);
        const bool isWritten = expected.status <= FindListedBootp || expected.status == FindRefused;
        EXPECT_EQ(datagram.block != before, isWritten);
        EXPECT_EQ(list->hits - hits, expected.hits);
        EXPECT_TRUE(IsFree(listMutex));
    }
}

TEST_F(FindClientTest, FixedFieldsOfTheReply) {
    Prepare("");
    Datagram datagram(300, Example);
    for (std::size_t at = 3; at < 28; ++at)
        datagram.block[at] = static_cast<BYTE>(at);
    std::strcpy(datagram.Packet()->sname, "server");
    std::memset(datagram.Packet()->file, 'q', 128);
    Datagram expected = datagram;
    EXPECT_EQ(Find(&datagram), FindListedBootp);

    BootPacket* reply = expected.Packet();
    reply->op = NoBroadcast;
    reply->yiaddr = {{10, 0, 0, 17}};
    reply->siaddr = TestServer;
    std::memcpy(reply->file, "lab-new.img", 12);  // what the request had after the NUL stays
    reply->cookie = {{0x63, 0x82, 0x53, 0x63}};
    EXPECT_EQ(datagram.Range(0, 240), expected.Range(0, 240));
    EXPECT_EQ(datagram.Range(240, 246), (Bytes{1, 4, 255, 255, 255, 0}));
}

TEST_F(FindClientTest, AListedClientOutlivesItsSection) {
    Prepare("[00-01]\nHost Name=h\n", 1);
    std::string text = ExampleBootptab;
    WriteBootptab(text.replace(text.find("[00-a0"), 6, "[00-b0") + "[00-01]\nIP Address=1.2.3.4\n");
    Datagram listed(300, Example);
    EXPECT_EQ(Find(&listed), FindListedBootp);
    EXPECT_EQ(listed.Packet()->yiaddr, (IpAddress{{10, 0, 0, 17}}));
    Datagram transient(300, {0, 1});
    EXPECT_EQ(Find(&transient), FindTransientBootp);
    EXPECT_EQ(transient.Packet()->yiaddr, (IpAddress{{1, 2, 3, 4}}));
}

TEST_F(FindClientTest, TheStampIsSetByOneHitOnly) {
    Prepare("");
    for (const DWORD expireHits : {0u, 3u}) {
        list->hits = 0;
        for (DWORD hit = 1; hit <= 5; ++hit) {
            list->stamp.wYear = 1;
            Datagram datagram(300, Example);
            Find(&datagram, expireHits);
            EXPECT_EQ(list->hits, hit);
            EXPECT_EQ(list->stamp.wYear != 1, hit == expireHits);
        }
    }
}

// The load leaves out an entry whose boot file has an alias that doesn't fit; a request ends in the same way.
TEST_F(FindClientTest, FileAliasAnswersWithTheAliasOfTheWantedFile) {
    const std::string longest(127, 'l'), unterminated(128, 'u');
    std::string text = ExampleBootptab;
    text.insert(text.find("lab.img = "), "fits = " + longest + "\nlong = " + longest + "l\n");
    WriteBootptab(text + "[00-01]\nAlias Files=1\nBoot File=own\n[00-02]\nBoot File=own\n" +
                  "[00-03]\nBoot File=fits\n[00-04]\nBoot File=long\n");
    ASSERT_EQ(Load(), DatabaseOk);
    EXPECT_EQ(reported, std::vector<std::string>{"00-04"});
    const std::tuple<BYTE, std::string, Bytes, std::string, int> cases[] = {
        {1, "lab.img", {}, "lab-new.img", FindListedBootp},
        {1, "LAB.IMG", Discover, "lab-new.img", FindListedDhcp},
        {1, "boot.img", {}, "", FindListedBootp},
        {1, "", {}, "own", FindListedBootp},
        {1, "fits", {}, longest, FindListedBootp},
        {1, "long", {}, "long", FindMalformed},
        {1, unterminated, {}, "", FindListedBootp},
        {1, "lab.img", Inform, "own", FindRefused},
        {2, "lab.img", {}, "own", FindListedBootp}};
    for (const auto& [client, wanted, options, file, status] : cases) {
        Datagram datagram(300, {0, client}, options);
        std::copy(wanted.begin(), wanted.end(), datagram.Packet()->file);
        const Bytes before = datagram.block;
        EXPECT_EQ(Find(&datagram), status) << wanted;
        EXPECT_EQ(datagram.Packet()->file, file);
        EXPECT_EQ(datagram.block == before, status == FindMalformed);
    }
}

TEST_F(FindClientTest, MediaTextGoesToTheHandlerOnly) {
    const std::string longest(99, 'm');
    Prepare("[00-01]\nMedia=02-00-00-11\nBoot File=own\n[00-02]\nMedia=" + longest +
            "\n[00-03]\nMedia=02-00\nCookie=0.0.0.0\n[00-04]\nMedia=x\nMedia=y\n");
    const std::string texts[] = {"02-00-00-11", longest, "", ""};
    for (BYTE client = 1; client <= 4; ++client) {
        std::memset(arpMacText, 0, sizeof(arpMacText));
        Datagram datagram(300, {0, client});
        ASSERT_EQ(Find(&datagram), FindListedBootp);
        EXPECT_EQ(arpMacText, texts[client - 1]);
        EXPECT_EQ((datagram.Packet()->op & ArpMac) != 0, client != 4);
        EXPECT_EQ(datagram.Range(108 + 28, 236), Bytes(100, 0));
    }
}

TEST_F(FindClientTest, PlainOnlyIgnoresTheClientsOptions) {
    Prepare("[00-01]\nPlain Only=1\nHost Name=h\n");
    Datagram discover(300, {0, 1}, Discover);
    EXPECT_EQ(Find(&discover), FindListedBootp);
    Datagram fixedPart(241, {0, 1});
    EXPECT_EQ(Find(&fixedPart), FindListedBootp);
    fixedPart = Datagram(241, {0, 1});
    fixedPart.length = 240;
    EXPECT_EQ(Find(&fixedPart), FindListedBootp);
    EXPECT_EQ(fixedPart.block[240], 0) << "the byte behind the packet stays";
    Datagram tooShort(100, {0, 1});
    EXPECT_EQ(Find(&tooShort), FindRefused);
}

TEST_F(FindClientTest, MutexesThatCannotBeTaken) {
    Prepare("[00-01]\nHost Name=h\n[00-02]\nHost Name=h\n");
    Datagram second(300, {0, 1});
    const Bytes before = second.block;
    HANDLE closed = CreateMutexA(nullptr, FALSE, nullptr);
    CloseHandle(closed);
    std::swap(listMutex, closed);
    EXPECT_EQ(Find(&second), FindMutexFailed);
    std::swap(listMutex, closed);

    CloseHandle(list->mutex);
    EXPECT_EQ(Find(&second), FindMutexFailed);
    EXPECT_EQ(second.block, before);
    Datagram third(300, {0, 2});
    Datagram walked = third;
    EXPECT_EQ(Find(&third), FindListedBootp);  // the index knows its guard without the others
    EXPECT_TRUE(IsFree(list->next->mutex));
    list->index = nullptr;
    EXPECT_EQ(Find(&walked), FindMutexFailed);
    EXPECT_TRUE(IsFree(listMutex));
}

TEST_F(FindClientTest, AMutexWhoseOwnerHasEndedIsTaken) {
    Prepare("[00-01]\nHost Name=h\n");
    for (const bool isIndexed : {true, false}) {
        if (!isIndexed) list->index = nullptr;
        std::thread([&] {
            for (const HANDLE mutex : {listMutex, list->mutex})
                WaitForSingleObject(mutex, INFINITE);
        }).join();
        Datagram datagram(300, {0, 1});
        EXPECT_EQ(Find(&datagram), FindListedBootp);
    }
}

// What a thread remembers of the sections that clients share is that of the file as it is.
TEST_F(FindClientTest, ATransientEntryHasTheTemplateAndTheAliasOfTheMoment) {
    Prepare("", 1);
    std::string text = ExampleBootptab;
    text.replace(text.find("[File Aliases]\n"), 15, "[File Aliases]\nboot=?.img\n") +=
        "[Template:t]\nHost Name=?\nBoot File=boot\n[00-01]\nTemplate=t\n[00-02]\nTemplate=T\nHost "
        "Name=own\n";
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        std::string edited = text;
        std::ranges::replace(edited, '?', letter);
        WriteBootptab(edited);
        for (const BYTE client : {1, 2, 1}) {
            Datagram datagram(300, {0, client});
            ASSERT_EQ(Find(&datagram), FindTransientBootp);
            EXPECT_EQ(datagram.Packet()->file, letter + std::string(".img"));
            const BYTE value = client == 1 ? static_cast<BYTE>(letter) : BYTE{'o'};
            EXPECT_EQ(datagram.block[242], value);
        }
    }
}

TEST_F(FindClientTest, ATransientEntryIsFreedAndBuiltWithNoMutexHeld) {
    const WatchScope scope;
    Prepare("[00-01]\nHost Name=h\n[00-02]\nHost Name=h\nHardware Type=6\n[00-03]\nTimes=1\n", 1);
    std::set<void*> blocks;
    Watched.blocks = &blocks;
    int allocations = 0;
    Watched.onHeapAlloc = [&] {
        ++allocations;
        EXPECT_TRUE(IsFree(listMutex));
        EXPECT_TRUE(IsFree(list->mutex));
    };
    const int statuses[] = {FindTransientBootp, FindOtherHardwareType, FindMalformed, FindUnknownClient};
    for (const bool isIndexed : {true, false}) {
        if (!isIndexed) list->index = nullptr;
        for (BYTE client = 1; client <= 4; ++client) {
            Datagram datagram(300, {0, client});
            EXPECT_EQ(Find(&datagram), statuses[client - 1]);
            EXPECT_EQ(blocks.size(), 0u);
        }
    }
    EXPECT_GT(allocations, 8);
}

// A hardware length above 16 reaches behind `chaddr`, and beyond the packet.
TEST_F(FindClientTest, WhatLiesBehindThePacketCountsAsZeros) {
    Prepare("");
    Datagram whole(300, Example);
    std::memcpy(whole.block.data(), &list->packet, 300);
    whole.Packet()->op = BootRequestOpcode;
    whole.Packet()->hlen = 220;  // eight bytes of the options
    Datagram cut = whole;
    cut.length = 240;
    EXPECT_EQ(Find(&whole), FindListedBootp);
    EXPECT_EQ(Find(&cut), FindUnknownClient);
}

TEST_F(FindClientTest, ARetiredListSendsItsCallerAway) {
    Prepare("");
    RetireClientList(list);
    Datagram datagram(300, Example);
    const Bytes before = datagram.block;
    EXPECT_EQ(Find(&datagram), FindListRetired);
    EXPECT_EQ(datagram.block, before);
    EXPECT_EQ(list->hits, 0u);
    EXPECT_TRUE(IsFree(listMutex));
}

// What arrives may be of any length and say anything about its own; only a build with AddressSanitizer sees a
// read beyond its end.
TEST_F(FindClientTest, AnythingMayBeAnticipated) {
    Prepare("[00-01]\nHost Name=h\n[00-02]\nHost Name=h\n");
    const Datagram request(300, Example);
    for (std::size_t length = 0; length <= 60; ++length)
        for (const BYTE hlen : {0, 1, 6, 16, 17, 255}) {
            Bytes datagram = request.Range(0, length);
            if (length > 2) datagram[2] = hlen;
            const std::vector<Arrival> arrivals(3, {datagram.data(), datagram.size()});
            AnticipateClients(list, arrivals.data(), arrivals.size());
            AnticipateClients(nullptr, arrivals.data(), arrivals.size());
        }
    EXPECT_EQ(list->hits, 0u);
    EXPECT_TRUE(IsFree(listMutex));
}

TEST_F(FindClientTest, ThreadsShareAList) {
    Prepare("[00-01]\nHost Name=h\n[00-02]\nHost Name=h\n", 2);
    constexpr DWORD rounds = 500;
    const auto ask = [&] {
        DWORD counter = 0;
        char text[100] = {};
        for (DWORD round = 0; round < rounds; ++round) {
            const Bytes addresses[] = {Example, {0, 1}, {0, 2}};
            const BYTE client = round % 50 == 0 ? 2 : round % 2;
            Datagram datagram(300, addresses[client], Discover);
            EXPECT_EQ(FindClient(0, heap, path.c_str(), &counter, list, catalogue.data(), datagram.Packet(),
                                 datagram.End(), TestServer, listMutex, 7, text),
                      client == 2 ? FindTransientDhcp : FindListedDhcp);
        }
    };
    std::thread other(ask);
    ask();
    other.join();
    EXPECT_EQ(list->hits + list->next->hits, 2 * (rounds - rounds / 50));
}

}  // namespace
