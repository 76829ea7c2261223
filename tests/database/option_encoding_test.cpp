#include "database/load/option_encoding.h"

#include <cstring>
#include <random>

#include "database/load/pseudo_tags.h"
#include "database/load/value_reading.h"
#include "database_fixture.h"

namespace {

// An image with `room` bytes for options and nothing after them, and a catalogue of one key, "k".
struct Image {
    Bytes block;
    OptionDefinition catalogue[2] = {};

    explicit Image(std::size_t room) : block(sizeof(BootPacket) + room) {
        Packet()->cookie = {{99, 130, 83, 99}};
    }
    BootPacket* Packet() { return reinterpret_cast<BootPacket*>(block.data()); }

    EncodedOption Encode(LONG tag, OptionType type, const std::string& value, DWORD terminate = 0) {
        catalogue[0].name[0] = 'k';
        catalogue[0].tag = tag;
        catalogue[0].type = type;
        Bytes text(value.begin(), value.end());
        text.insert(text.end(), {0, 0});
        BYTE* limit = block.data() + block.size();
        return EncodeOptionValue(terminate, catalogue, Packet(), Options(Packet()), limit, "K",
                                 reinterpret_cast<char*>(text.data()));
    }
    Bytes Upto(const BYTE* cursor) { return {Options(static_cast<const BootPacket*>(Packet())), cursor}; }
};

TEST(OptionEncoding, AddressesAreThoseOfInetAddr) {
    std::vector<std::string> texts = {"10.1",      "1.2.3",      "1.2.3.",     "1.2.3.4.",
                                      "1.2.3.4.5", " 1.2.3.4",   "",           "1.2.3.00",
                                      "010.0.0.1", "10.0.0.010", "0x0a.0.0.1", "-1.2.3.4"};
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        std::string text = std::to_string(random() % 300);
        for (int part = 1; part < 4; ++part)
            text += "." + std::to_string(random() % 300);
        if (random() % 2 == 0) text[random() % text.size()] = "0123456789. x"[random() % 13];
        texts.push_back(text);
    }
    for (const std::string& text : texts) {
        const DWORD wire = inet_addr(text.c_str());
        const IpAddress address = ReadAddress(text.c_str());
        EXPECT_EQ(std::memcmp(&address, &wire, sizeof(wire)), 0) << text;
    }
}

TEST(OptionEncoding, WorkedBytes) {
    const struct {
        OptionType type;
        const char* value;
        Bytes body;
        DWORD terminate = 0;
    } cases[] = {{OptionType::IpAddress, "10.0.0.1,10.0.0.2", {10, 0, 0, 1, 10, 0, 0, 2}},
                 {OptionType::IpAddressArray, "nowhere", {255, 255, 255, 255}},
                 {OptionType::Int, "1000", {0, 0, 3, 0xE8}},
                 {OptionType::Int, "4294967295, 1", {255, 255, 255, 255, 0, 0, 0, 1}},
                 {OptionType::Int, "text", {0, 0, 0, 0}},
                 {OptionType::Word, "1,513", {0, 1, 2, 1}},
                 {OptionType::Word, "65537", {0, 1}},
                 {OptionType::Byte, "1,2,300", {1, 2, 0x2C}},
                 {OptionType::MultiByte, "1,,2", {1}},
                 {OptionType::Byte, ",1", {}},
                 {OptionType::Time, "1:00:00,0:00:30", {0, 0, 0x0E, 0x10, 0, 0, 0, 0x1E}},
                 {OptionType::Time, "infinite , 0:0:1", {255, 255, 255, 255, 0, 0, 0, 1}},
                 {OptionType::Time, "100:99:99", {0, 5, 0x95, 0xD7}},
                 {OptionType::Time, " 0:00:30 , 0 : 1 : 2\t", {0, 0, 0, 30, 0, 0, 0, 62}},
                 {OptionType::String, "pc17", {'p', 'c', '1', '7'}},
                 {OptionType::String, "a,b", {'a', ',', 'b'}},
                 {OptionType::String, "pc17", {'p', 'c', '1', '7', 0}, 1},
                 {OptionType::String, "", {}},
                 {OptionType::String, "", {0}, 1}};
    for (const auto& expected : cases) {
        SCOPED_TRACE(expected.value);
        Image image(60);
        const EncodedOption encoded = image.Encode(3, expected.type, expected.value, expected.terminate);
        ASSERT_EQ(encoded.outcome, EncodeOutcome::Done);
        Bytes option = {3, static_cast<BYTE>(expected.body.size())};
        option.insert(option.end(), expected.body.begin(), expected.body.end());
        EXPECT_EQ(image.Upto(encoded.cursor), option);
    }
    Image image(60);
    EXPECT_EQ(image.Upto(image.Encode(300, OptionType::Byte, "5").cursor), (Bytes{44, 1, 5}));
}

// The least room with which a value fits: the option and, but for byte lists, the end mark.
TEST(OptionEncoding, LeastRoom) {
    const struct {
        OptionType type;
        const char* value;
        std::size_t least;
        DWORD terminate = 0;
    } cases[] = {{OptionType::IpAddress, "1.2.3.4", 7},
                 {OptionType::IpAddress, "1.2.3.4,1.1.1.1", 11},
                 {OptionType::Int, "1", 7},
                 {OptionType::Word, "1", 5},
                 {OptionType::Byte, "", 2},
                 {OptionType::Byte, "1", 5},
                 {OptionType::Byte, "1,2", 6},
                 {OptionType::String, "", 4},
                 {OptionType::String, "abcd", 8},
                 {OptionType::String, "abcd", 8, 1}};
    for (const auto& expected : cases) {
        for (std::size_t room = 0; room < 16; ++room) {
            SCOPED_TRACE(expected.value + (" in " + std::to_string(room)));
            Image image(room);
            const auto outcome = image.Encode(3, expected.type, expected.value, expected.terminate).outcome;
            EXPECT_EQ(outcome, room >= expected.least ? EncodeOutcome::Done : EncodeOutcome::NoRoom);
        }
    }
}

TEST(OptionEncoding, MalformedWhateverTheRoom) {
    std::string addresses = "1.1.1.1";
    std::string ones = "1";
    for (int at = 1; at < 64; ++at)
        addresses += ",1.1.1.1";
    for (int at = 1; at < 256; ++at)
        ones += ",1";
    const struct {
        OptionType type;
        std::string value;
        DWORD terminate = 0;
    } cases[] = {{OptionType::Time, "1:30"},
                 {OptionType::Time, "1:00:00,90"},
                 {OptionType::Time, "1:00:00, "},
                 {OptionType::HardwareAddress, "00-11"},
                 {OptionType::String, std::string(256, 's')},
                 {OptionType::String, std::string(255, 's'), 1},
                 {OptionType::IpAddress, addresses},
                 {OptionType::Byte, ones},
                 {OptionType::Byte, std::string(1022, ' ') + "1,"},
                 {OptionType::Int, "4294967296"},
                 {OptionType::Byte, "-2147483649"}};
    for (const auto& expected : cases) {
        SCOPED_TRACE(expected.value.substr(0, 30));
        Image image(2000);
        EXPECT_EQ(image.Encode(3, expected.type, expected.value, expected.terminate).outcome,
                  EncodeOutcome::Malformed);
    }
    Image image(300);
    const EncodedOption longest = image.Encode(3, OptionType::String, std::string(255, 's'));
    ASSERT_EQ(longest.outcome, EncodeOutcome::Done);
    EXPECT_EQ(image.Upto(longest.cursor).size(), 257u);
}

TEST(OptionEncoding, AnUnknownKeyLeavesTheEndMarkAtTheCursor) {
    char value[2] = {};
    for (const std::size_t room : {0u, 1u}) {
        Image image(room);
        BYTE* const options = Options(image.Packet());
        const auto encoded =
            EncodeOptionValue(0, image.catalogue, image.Packet(), options, options + room, "unknown", value);
        EXPECT_EQ(encoded.outcome, room == 0 ? EncodeOutcome::NoRoom : EncodeOutcome::Done);
        EXPECT_EQ(encoded.cursor, room == 0 ? nullptr : options);
    }
}

TEST(PseudoTags, FieldsAndFlags) {
    BootPacket packet = {};
    const std::tuple<LONG, const char*, bool, BYTE> steps[] = {{FileAliasTag, "1", true, 0x80},
                                                               {AlwaysBroadcastTag, "7", true, 0xC0},
                                                               {NoBroadcastTag, "-1", true, 0xE0},
                                                               {IgnoreClientVendorTag, "1", true, 0xF0},
                                                               {ArpMacTag, "aa-bb", true, 0xF8},
                                                               {AlwaysBroadcastTag, "2", true, 0xB8},
                                                               {NoBroadcastTag, "0", true, 0x98},
                                                               {AlwaysBroadcastTag, "no", true, 0x98},
                                                               {ArpMacTag, "", true, 0x90},
                                                               {FileAliasTag, "4294967296", false, 0x90},
                                                               {HardwareLengthTag, "262", true, 0x90},
                                                               {HardwareTypeTag, "-1", true, 0x90},
                                                               {AddressTag, "10.0.0.17", true, 0x90},
                                                               {CookieTag, "1.2.3.4", true, 0x90},
                                                               {-5, "1", true, 0x90},
                                                               {HardwareTypeTag, "9999999999", false, 0x90}};
    for (const auto& [tag, value, applied, flags] : steps) {
        EXPECT_EQ(ApplyPseudoTag(tag, &packet, value), applied) << tag << " " << value;
        EXPECT_EQ(packet.op, flags) << tag << " " << value;
    }
    EXPECT_EQ(packet.hlen, 6);
    EXPECT_EQ(packet.htype, 255);
    EXPECT_EQ(packet.yiaddr, (IpAddress{{10, 0, 0, 17}}));
    EXPECT_EQ(packet.cookie, (IpAddress{{1, 2, 3, 4}}));
}

TEST(PseudoTags, BootFileAndMediaTextShareTheField) {
    const struct {
        std::size_t name, text;
        bool fits;
    } cases[] = {{127, 0, true},  {128, 0, false}, {127, 1, false}, {125, 1, true},
                 {126, 1, false}, {27, 99, true},  {28, 99, false}, {0, 100, false}};
    for (const auto& expected : cases) {
        const std::string name(expected.name, 'n'), text(expected.text, 't');
        for (const bool nameFirst : {true, false}) {
            BootPacket packet = {};
            const auto apply = [&](bool boot) {
                return ApplyPseudoTag(boot ? BootFileTag : ArpMacTag, &packet, (boot ? name : text).c_str());
            };
            const bool applied = apply(nameFirst) && apply(!nameFirst);
            EXPECT_EQ(applied, expected.fits) << expected.name << " " << expected.text;
            if (!applied) continue;
            EXPECT_EQ(std::string(packet.file), name);
            EXPECT_EQ(std::string(packet.file + 128 - expected.text, expected.text), text);
            EXPECT_EQ(packet.file[127 - expected.text], '\0');
        }
    }
}

}  // namespace
