#include "request/interfaces.h"

#include <gmock/gmock.h>

#include <cstring>

namespace {

using testing::ElementsAreArray;

std::string Dotted(IpAddress address) {
    char text[AddressTextSize];
    FormatAddress(address, text);
    return text;
}

TEST(LocalAddressList, TakesThePiecesThatAreAddresses) {
    struct Case {
        const char* list;
        std::vector<std::string> addresses;
    };
    const Case cases[] = {
        {"10.0.0.1,bad,10.0.0.2", {"10.0.0.1", "10.0.0.2"}},
        {"10.0.0.1,,10.0.0.2", {"10.0.0.1"}},
        {",10.0.0.1", {}},
        {"", {}},
        {"0.0.0.0,127.0.0.1", {"0.0.0.0", "127.0.0.1"}},
    };
    for (const Case& test : cases) {
        IpAddress table[MaxLocalAddresses];
        const DWORD count = ParseLocalAddresses(test.list, table);
        std::vector<std::string> found;
        for (DWORD i = 0; i < count; ++i)
            found.push_back(Dotted(table[i]));
        EXPECT_THAT(found, ElementsAreArray(test.addresses)) << test.list;
    }
    std::string many;
    for (int i = 1; i <= 60; ++i)
        many += "10.0.0." + std::to_string(i) + ",";
    IpAddress table[MaxLocalAddresses];
    EXPECT_EQ(ParseLocalAddresses(many.c_str(), table), MaxLocalAddresses);
}

// The block ends right behind the packet, so that the sanitizer sees a read behind it.
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
