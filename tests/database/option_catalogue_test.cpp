#include "database/option_catalogue.h"

#include "database/database_result.h"
#include "database_fixture.h"

namespace {

class CatalogueTest : public DatabaseTest {
  protected:
    DWORD Read(const std::string& text, DWORD capacity = 16) {
        FILE* file = std::fopen(path.c_str(), "wb");
        std::fwrite(text.data(), 1, text.size(), file);
        std::fclose(file);
        // One row fewer than the block has: a write behind the given rows shows.
        rows.assign(capacity + 1, OptionDefinition{});
        return ReadOptionCatalogue(heap, path.c_str(), capacity, rows.data());
    }

    std::string Names(int count, std::size_t length) {
        std::string text = "[Options]\n";
        for (int at = 0; at < count; ++at) {
            std::string name = std::to_string(at);
            name.resize(length, 'x');
            text += name + "=1,byte\n";
        }
        return text;
    }

    std::vector<OptionDefinition> rows;
};

TEST_F(CatalogueTest, DefinitionsAreATagAndATypeWord) {
    const struct {
        const char* value;
        LONG tag;
        OptionType type;
    } cases[] = {
        {"1,ipaddress", 1, OptionType::IpAddress},
        {"-2,IpAddress", -2, OptionType::IpAddress},
        {"12,String", 12, OptionType::String},
        {"13,int", 13, OptionType::Int},
        {"14,word", 14, OptionType::Word},
        {"15,time", 15, OptionType::Time},
        {"16,ipaddressarray", 16, OptionType::IpAddressArray},
        {"17,multi-byte", 17, OptionType::MultiByte},
        {"18,bool", 18, OptionType::Bool},
        {"19,haddr", 19, OptionType::HardwareAddress},
        {"20,byte", 20, OptionType::Byte},
        {"12,text", 12, OptionType::Byte},
        {"12, string", 12, OptionType::Byte},
        {"12,string,x", 12, OptionType::Byte},
        {"abc,int", 0, OptionType::Int},
        {"+7x,int", 7, OptionType::Int},
        {",int", 0, OptionType::Int},
        {"-2147483648,int", -2147483647 - 1, OptionType::Int},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(expected.value);
        ASSERT_EQ(Read(std::string("[options]\nSome Key=") + expected.value + "\n"), DatabaseOk);
        EXPECT_STREQ(rows[0].name, "Some Key");
        EXPECT_EQ(rows[0].tag, expected.tag);
        EXPECT_EQ(rows[0].type, expected.type);
        EXPECT_STREQ(rows[1].name, "");
    }
}

TEST_F(CatalogueTest, Results) {
    const struct {
        std::string text;
        DWORD capacity;
        DWORD result;
    } cases[] = {
        {"", 2, DatabaseOk},
        {"[Options]\n", 2, DatabaseOk},
        {"[Other]\na=1\n", 2, DatabaseOk},
        {"[Options]\na=1,byte\nb=12\n", 16, DatabaseCorrupt},
        {"[Options]\na=\n", 16, DatabaseCorrupt},
        {"[Options]\na=4294967295,byte\n", 16, DatabaseCorrupt},
        {"[Options]\n" + std::string(259, 'k') + "=1,byte\n", 16, DatabaseOk},
        {"[Options]\n" + std::string(260, 'k') + "=1,byte\n", 16, DatabaseCorrupt},
        {Names(68, 5), 69, DatabaseOk},
        {Names(69, 5), 69, CatalogueTooSmall},
        {Names(1, 5), 1, CatalogueTooSmall},
        {Names(1, 5), 0, CatalogueTooSmall},
        {Names(1, 5), 2, DatabaseOk},
        // Lists about the sizes at which the work buffer grows, 4094 bytes among them, and beyond the second
        // growth.
        {Names(45, 90), 200, DatabaseOk},
        {Names(89, 45), 200, DatabaseOk},
        {Names(90, 45), 200, DatabaseOk},
        {Names(150, 100), 200, DatabaseOk},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(expected.text.substr(0, 40));
        EXPECT_EQ(Read(expected.text, expected.capacity), expected.result);
        EXPECT_STREQ(rows[expected.capacity].name, "");
    }
    EXPECT_EQ(ReadOptionCatalogue(heap, (folder / "none").string().c_str(), 2, rows.data()), DatabaseMissing);
}

TEST_F(CatalogueTest, LongListsAreReadWhole) {
    // 4093, 4094, 4095 and 4096 bytes of names with their NULs.
    for (const int last : {89, 90, 91, 92}) {
        std::string text = Names(40, 99);
        text += std::string(static_cast<std::size_t>(last) + 3, 'z') + "=77,word\n";
        ASSERT_EQ(Read(text, 64), DatabaseOk);
        EXPECT_EQ(std::string(rows[40].name), std::string(static_cast<std::size_t>(last) + 3, 'z'));
        EXPECT_EQ(rows[40].tag, 77);
        EXPECT_STREQ(rows[41].name, "");
    }
}

TEST_F(CatalogueTest, TheFirstRowOfANameAnswersInAnyCase) {
    ASSERT_EQ(Read("[Options]\nHost=12,string\nOther=13,byte\nHOST=14,byte\n@ns=15,byte\n"), DatabaseOk);
    EXPECT_EQ(FindOptionDefinition(rows.data(), "hOST"), &rows[0]);
    EXPECT_EQ(FindOptionDefinition(rows.data(), "Hos"), nullptr);
    EXPECT_EQ(FindOptionDefinition(rows.data(), "@NS"), &rows[3]);
    EXPECT_EQ(FindOptionDefinition(rows.data(), "`ns"), nullptr);
    EXPECT_EQ(FindOptionDefinition(rows.data(), ""), nullptr);
}

}  // namespace
