#include <gtest/gtest.h>

#include <sstream>

#include "diagnostics/message_compiler/message_file.h"
#include "platform/linux/events/message_table.h"

namespace {

// Numbers and texts as those who search event logs know them. Whoever changes one on purpose puts its sum
// here.
constexpr std::size_t KnownMessages = 35;
constexpr std::uint64_t KnownSum = 3878677002664445905u;

TEST(MessageTable, HasTheKnownNumbersAndTextsAndNoOther) {
    std::size_t count = 0;
    std::uint64_t sum = 14695981039346656037u;
    for (const std::uint32_t severity : {0u, 1u, 2u, 3u})
        for (std::uint32_t code = 0; code < 0x10000; ++code) {
            const std::uint32_t number = severity << 30 | code;
            const char* const text = FindMessageText(number);
            if (text == nullptr) continue;
            ++count;
            for (const char c : std::to_string(number) + text)
                sum = (sum ^ static_cast<unsigned char>(c)) * 1099511628211u;
        }
    EXPECT_EQ(count, KnownMessages);
    EXPECT_EQ(MessageTableSize, KnownMessages);
    EXPECT_EQ(sum, KnownSum);
    EXPECT_STREQ(FindMessageText(0xC0000006),
                 "Quillon failed to initialize because the bootptab database '%1' is corrupt.\r\n");
    EXPECT_EQ(FindMessageText(0xE0000022), nullptr);
}

constexpr char Lists[] =
    "SeverityNames=(Ok=0 Bad=0x3:SEVERITY_BAD)\nFacilityNames=(\n None=0:F\n "
    "Net=0x12\n)\nLanguageNames=(English=0x409:en)\n";
constexpr char Fields[] = "Severity=Bad\nFacility=Net\nSymbolicName=NAME\nLanguage=English\n";

std::vector<MessageDefinition> Compile(const std::string& text) {
    std::istringstream input(text);
    return ReadMessageFile(input);
}

TEST(MessageFile, ReadsMessages) {
    const auto messages = Compile("; remark\r\n" + std::string(Lists) + "MessageId=0xFFFF\r\n" + Fields +
                                  "Two %1\nlines.\r\n.\r\n");
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].number, 0xC012FFFFu);
    EXPECT_EQ(messages[0].symbolicName, "NAME");
    EXPECT_EQ(messages[0].text, "Two %1\r\nlines.\r\n");
}

TEST(MessageFile, RefusesWhatItDoesNotKnowAndNamesTheLine) {
    const std::string lists = Lists;
    const std::pair<std::string, std::string> rows[] = {
        {"Nonsense\n", "1:"},
        {"SeverityNames=(Ok=4)\n", "1:"},
        {"SeverityNames=(Ok=0\n", "1:"},
        {lists + "MessageId=0x10000\n", "7:"},
        {lists + "MessageId=1\nSeverity=None\n", "8:"},
        {lists + "MessageId=1\nSymbolicName=NAME\nLanguage=English\nx\n.\n", "9:"},
        {lists + "MessageId=1\n" + Fields + "no end\n", "12:"},
        {lists + "MessageId=1\n" + Fields + ".\n", "12:"},
        {lists + "MessageId=1\n" + Fields + "x\n.\nMessageId=1\n" + Fields + "x\n.\n", "20:"},
    };
    for (const auto& [text, line] : rows) {
        try {
            Compile(text);
            ADD_FAILURE() << text;
        } catch (const MessageFileError& error) {
            EXPECT_EQ(std::string(error.what()).substr(0, line.size()), line) << text << error.what();
        }
    }
}

}  // namespace
