#include "database/option_catalogue.h"

#include <fstream>

#include "database/database_result.h"
#include "database_fixture.h"

namespace {

class CatalogueTest : public DatabaseTest {
  protected:
    DWORD Read(const std::string& text, DWORD capacity = 16) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
        // One row fewer than the block has: a write behind the given rows shows.
        rows.assign(capacity + 1, OptionDefinition{});
        return ReadOptionCatalogue(heap, path.c_str(), capacity, rows.data());
    }

    std::string Names(int count, std::size_t length) {
        std::string text = "[Options]\n";
        for (int at = 1000; at < 1000 + count; ++at)
            text += std::to_string(at) + std::string(length - 4, 'x') + "=1,byte\n";
        return text;
    }

    std::vector<OptionDefinition> rows;
};

TEST_F(CatalogueTest, DefinitionsAreATagAndATypeWord) {
    const std::tuple<const char*, LONG, OptionType> cases[] = {
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
        {"12,string,x", 12, OptionType::Byte},
        {"abc,int", 0, OptionType::Int},
        {"-2147483648,int", -2147483647 - 1, OptionType::Int}};
    for (const auto& [value, tag, type] : cases) {
        SCOPED_TRACE(value);
        ASSERT_EQ(Read(std::string("[options]\nSome Key=") + value + "\n"), DatabaseOk);
        EXPECT_STREQ(rows[0].name, "Some Key");
        EXPECT_EQ(rows[0].tag, tag);
        EXPECT_EQ(rows[0].type, type);
        EXPECT_STREQ(rows[1].name, "");
    }
}

TEST_F(CatalogueTest, Results) {
    const std::tuple<std::string, DWORD, DWORD> cases[] = {
        {"", 2, DatabaseOk},
        {"[Other]\na=1\n", 2, DatabaseOk},
        {"[Options]\na=1,byte\nb=12\n", 16, DatabaseCorrupt},
        {"[Options]\na=4294967295,byte\n", 16, DatabaseCorrupt},
        {"[Options]\n" + std::string(259, 'k') + "=1,byte\n", 16, DatabaseOk},
        {"[Options]\n" + std::string(260, 'k') + "=1,byte\n", 16, DatabaseCorrupt},
        {Names(68, 5), 69, DatabaseOk},
        {Names(69, 5), 69, CatalogueTooSmall},
        {Names(1, 5), 1, CatalogueTooSmall},
        {Names(1, 5), 2, DatabaseOk},
        {Names(150, 100), 200, DatabaseOk},  // the work buffer grows twice
    };
    for (const auto& [text, capacity, result] : cases) {
        SCOPED_TRACE(text.substr(0, 40));
        EXPECT_EQ(Read(text, capacity), result);
        EXPECT_STREQ(rows[capacity].name, "");
    }
    EXPECT_EQ(ReadOptionCatalogue(heap, folder.Path("none").c_str(), 2, rows.data()), DatabaseMissing);
}

TEST_F(CatalogueTest, LongListsAreReadWhole) {
    // 4093, 4094, 4095 and 4096 bytes of names with their NULs.
    for (const std::size_t size : {92u, 93u, 94u, 95u}) {
        const std::string last(size, 'z');
        ASSERT_EQ(Read(Names(40, 99) + last + "=77,word\n", 64), DatabaseOk);
        EXPECT_EQ(rows[40].name, last);
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
