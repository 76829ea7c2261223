#include "request/interfaces.h"

#include <gmock/gmock.h>

#include <cstring>

#include "diagnostics/event_report.h"
#include "service/server_parameters.h"
#include "service/temporary_home.h"

namespace {

std::string Dotted(IpAddress address) {
    char text[AddressTextSize];
    FormatAddress(address, text);
    return text;
}

TEST(LocalAddressList, TakesThePiecesThatAreAddresses) {
    std::string many;
    for (int i = 1; i <= 60; ++i)
        many += "10.0.0." + std::to_string(i) + ",";
    const struct {
        std::string list;
        DWORD count;
        const char* last;
    } cases[] = {{"10.0.0.1,bad,10.0.0.2", 2, "10.0.0.2"},
                 {"10.0.0.1,,10.0.0.2", 1, "10.0.0.1"},
                 {",10.0.0.1", 0, ""},
                 {"", 0, ""},
                 {"0.0.0.0,127.0.0.1", 2, "127.0.0.1"},
                 {many, MaxLocalAddresses, "10.0.0.50"}};
    for (const auto& test : cases) {
        IpAddress table[MaxLocalAddresses];
        const DWORD count = ParseLocalAddresses(test.list.c_str(), table);
        EXPECT_EQ(count, test.count) << test.list;
        if (count > 0) {
            EXPECT_EQ(Dotted(table[count - 1]), test.last);
        }
    }
}

// Binds addresses of the loopback interface, of which 127.0.0.9 is taken by someone who would share it.
class Binding : public testing::Test {
  protected:
    void SetUp() override {
        home.Write("services", "bootp " + std::to_string(Port) + "/udp\n");
        WSADATA data;
        ASSERT_EQ(WSAStartup(MAKEWORD(1, 1), &data), 0);
        ASSERT_EQ(OpenBoundSocket(&taken, Port, {{127, 0, 0, 9}}, 1), 0);
        InstallEventMask(31);
    }
    void TearDown() override {
        CloseAllSockets();
        SocketCount = 0;
        BoundCount = 0;
        LiveParameters = {};
        WSACleanup();
    }

    // What the log got.
    std::string Bind(const std::string& list) {
        LiveParameters = {};
        std::strcpy(LiveParameters.LocalAddrs, list.c_str());
        const std::string file = home.Path("binding.log");
        LiveParameters.LogHandle = CreateFileA(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                               FILE_ATTRIBUTE_NORMAL, nullptr);
        LiveParameters.LogMutex = CreateMutexA(nullptr, FALSE, nullptr);
        EXPECT_EQ(BindAllInterfaces(), BindOk);
        CloseHandle(LiveParameters.LogHandle);
        CloseHandle(LiveParameters.LogMutex);
        return home.Read("binding.log");
    }

    // The sender of a datagram from the socket in a slot.
    std::string SenderOf(DWORD slot) const {
        sockaddr_in to = {};
        to.sin_family = AF_INET;
        to.sin_port = htons(Port);
        to.sin_addr.s_addr = inet_addr("127.0.0.9");
        char byte = 0;
        sendto(BoundSockets[slot], &byte, 1, 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
        int length = sizeof to;
        recvfrom(taken, &byte, 1, 0, reinterpret_cast<sockaddr*>(&to), &length);
        return inet_ntoa(to.sin_addr);
    }

    // Apart from that of the same test in another process.
    const WORD Port = static_cast<WORD>(20012 + (::getpid)() % 750 * 16);
    TemporaryHome home;
    SOCKET taken = 0;
};

TEST_F(Binding, DropsWhatItCannotHaveAndKeepsTheTablesInStep) {
    SOCKET shared = 0;
    EXPECT_EQ(OpenBoundSocket(&shared, Port, {{127, 0, 0, 9}}, 1), 0);
    closesocket(shared);
    const std::string line = "** Bound to: 127.0.0.2, 127.0.0.3.\r\n\r\n";
    for (const char* list : {"127.0.0.2,127.0.0.3", "127.0.0.9,127.0.0.2,bad,127.0.0.3",
                             "127.0.0.2,127.0.0.9,127.0.0.3", "127.0.0.2,127.0.0.3,127.0.0.9"}) {
        home.Write("events.log", "");
        EXPECT_EQ(Bind(list), line) << list;
        ASSERT_EQ(BoundCount, 2u) << list;
        const bool namesTaken = std::string(list).find("127.0.0.9") != std::string::npos;
        EXPECT_THAT(home.EventNumbers(), testing::SizeIs(namesTaken ? 1 : 0)) << list;
        if (namesTaken) {
            EXPECT_THAT(home.Read("events.log"),
                        testing::HasSubstr(" warning 0x80000024 Quillon: LocalAddrs "
                                           "names 127.0.0.9, which can't be bound: "));
        }
        EXPECT_EQ(SocketCount, 2u) << list;
        for (DWORD slot : {0u, 1u}) {
            EXPECT_EQ(Dotted(LocalAddresses[slot]), "127.0.0." + std::to_string(slot + 2)) << list;
            EXPECT_EQ(SenderOf(slot), Dotted(LocalAddresses[slot])) << list;
        }
    }
}

TEST_F(Binding, TheLineEndsWellHoweverLongTheList) {
    std::string list;
    std::string line = "** Bound to: ";
    for (unsigned count = 1; count <= 16; ++count) {
        const std::string address = "127.100.100." + std::to_string(100 + count);
        list += (count == 1 ? "" : ",") + address;
        line += count > 14 ? "" : (count == 1 ? "" : ", ") + address;
        EXPECT_EQ(Bind(list), line + (count > 14 ? ", ...\r\n\r\n" : ".\r\n\r\n"));
        EXPECT_EQ(BoundCount, count);
    }
}

TEST_F(Binding, AListWithoutAnAddressIsReportedByItsText) {
    const char* const noSocket = "Could not bind to an address\r\n.";
    for (const char* list : {"any, all", ",127.0.0.2"}) {
        EXPECT_EQ(Bind(list), noSocket);
        EXPECT_THAT(home.Read("events.log"), testing::HasSubstr(std::string("\"") + list + "\""));
    }
    EXPECT_EQ(Bind("127.0.0.9"), noSocket);
    EXPECT_THAT(home.EventNumbers(), testing::ElementsAre("0xC0000022", "0xC000000B", "0xC0000022",
                                                          "0xC000000B", "0x80000024", "0xC000000B"));
}

// The block ends right after the packet, so that the sanitizer sees a read behind it.
struct Reply {
    std::vector<std::uint8_t> bytes;

    Reply(IpAddress client, std::initializer_list<std::uint8_t> options) : bytes(sizeof(BootPacket)) {
        packet()->yiaddr = client;
        bytes.insert(bytes.end(), options);
        bytes.shrink_to_fit();
    }
    BootPacket* packet() { return reinterpret_cast<BootPacket*>(bytes.data()); }
};

TEST(BetterInterface, IsTheLowestOneOnTheClientsSubnet) {
    LocalAddresses[0] = IpAddress{{10, 0, 0, 1}};
    LocalAddresses[1] = IpAddress{{10, 0, 1, 1}};
    LocalAddresses[2] = IpAddress{{10, 0, 1, 2}};
    struct Case {
        const char* name;
        IpAddress client;
        std::initializer_list<std::uint8_t> options;
        int answer;
        DWORD index;
    };
    const Case cases[] = {
        {"on the receiving subnet", {{10, 0, 0, 9}}, {1, 4, 255, 255, 255, 0, 255}, 0, 0},
        {"on another", {{10, 0, 1, 9}}, {1, 4, 255, 255, 255, 0, 255}, 1, 1},
        {"behind another option", {{10, 0, 1, 9}}, {3, 2, 1, 1, 1, 4, 255, 255, 255, 0}, 1, 1},
        {"on none", {{10, 9, 9, 9}}, {1, 4, 255, 255, 255, 0, 255}, 0, 0},
        {"mask 0.0.0.0", {{10, 0, 1, 9}}, {1, 4, 0, 0, 0, 0}, 0, 0},
        {"no mask", {{10, 0, 1, 9}}, {3, 4, 255, 255, 255, 0, 255}, 0, 0},
        {"a mask behind the end mark", {{10, 0, 1, 9}}, {255, 1, 4, 255, 255, 255, 0}, 0, 0},
        {"a pad is taken as tag, length and value",
         {{10, 0, 1, 9}},
         {0, 4, 1, 4, 255, 255, 1, 4, 255, 255, 255, 0},
         1,
         1},
        {"no options at all", {{10, 0, 1, 9}}, {}, 0, 0},
        {"a tag without a length", {{10, 0, 1, 9}}, {3}, 0, 0},
        {"a length past the end", {{10, 0, 1, 9}}, {3, 200, 1}, 0, 0},
        {"a mask cut by the end", {{10, 0, 1, 1}}, {1, 4, 255, 255, 255}, 0, 0},
    };
    for (const Case& test : cases) {
        Reply reply(test.client, test.options);
        for (const DWORD bound : {1u, 3u}) {
            BoundCount = bound;
            DWORD index = 0;
            const int answer =
                IsBetterInterface(&index, reply.packet(), static_cast<LONG>(reply.bytes.size()));
            EXPECT_EQ(answer, bound < 2 ? 0 : test.answer) << test.name;
            EXPECT_EQ(index, bound < 2 ? 0 : test.index) << test.name;
        }
    }
    BoundCount = 0;
}

}  // namespace
