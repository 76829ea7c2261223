#include <gtest/gtest.h>

#include <sstream>

#include "diagnostics/message_compiler/message_file.h"
#include "platform/linux/events/message_table.h"

namespace {

const std::pair<std::uint32_t, const char*> Rows[] = {
    {0x00000003, "Quillon has re-loaded its operating parameters.\r\n"},
    {0x40000001, "Quillon has started. %1\r\n"},
    {0x40000002, "Quillon has terminated.\r\n"},
    {0x4000001A,
     "Warning: Client with hardware address %1 has submitted a Boot Request, but this client is not defined "
     "in the bootp database.\r\n"},
    {0x40000023, "%1\r\n"},
    {0x8000001B,
     "Warning: Client with hardware address %1 has been denied a bootp reply due to hardware type mismatch. "
     "The bootp database may have the wrong 'hardware type' setting for this client.\r\n"},
    {0x8000001E,
     "The Quillon has been set to broadcast-only mode. Refer to the online help file if your clients require "
     "boot replies as directed datagrams.\r\n"},
    {0x80000024, "%1\r\n"},
    {0xC0000004, "Quillon failed to re-loaded its operating parameters.\r\n"},
    {0xC0000006, "Quillon failed to initialize because the bootptab database '%1' is corrupt.\r\n"},
    {0xC0000007, "Quillon failed to initialize because the bootptab database '%1' does not exist.\r\n"},
    {0xC0000008, "Quillon cannot access the log file. The system error is: %1\r\n"},
    {0xC0000009,
     "Quillon could not initialize the Windows Sockets API.  Ensure that the TCP/IP protocol is properly "
     "installed.\r\n"},
    {0xC000000A,
     "Quillon could not start because the installed version of Windows Sockets does not support Winsock "
     "version 1.1.\r\n"},
    {0xC000000B,
     "Quillon encountered an error while attempting to allocate a socket. The system error is: %1\r\n"},
    {0xC000000C,
     "Quillon encountered an error while attempting to enumerate the local IP address(es). The system error "
     "is: %1\r\n"},
    {0xC000000D,
     "Quillon encountered an error while attempting to get the local host name. The system error is: %1\r\n"},
    {0xC000000E, "Quillon failed to start because a heap of %1 bytes could not be created.\r\n"},
    {0xC000000F, "Quillon was unable to accept a BOOTP request due to lack of available memory.\r\n"},
    {0xC0000010, "Quillon was unable to start due to lack of available memory.\r\n"},
    {0xC0000011, "Quillon was unable to start because there was not enough memory to create the cache.\r\n"},
    {0xC0000012, "Quillon encountered an error while reading from a socket. The system error is: %1\r\n"},
    {0xC0000013, "Quillon encountered an error while blocking on a socket. The system error is: %1\r\n"},
    {0xC0000014,
     "Quillon failed to create a service thread for a BOOTP request. The system error is: %1\r\n"},
    {0xC0000015,
     "Quillon encountered an error while attempting to close a socket. The system error is: %1\r\n"},
    {0xC0000016, "Quillon encountered an error while attempting to release memory during shutdown.\r\n"},
    {0xC0000017, "Quillon encountered an error while trying to de-allocate memory.\r\n"},
    {0xC0000018,
     "Quillon encountered an error while attempting to set IO controls on a socket. The system error is: "
     "%1\r\n"},
    {0xC0000019,
     "Quillon encountered a network error while attempting to send a packet. The system error is: %1\r\n"},
    {0xC000001C,
     "The database entry for hardware address %1 is malformed. This entry is not useable by Quillon.\r\n"},
    {0xC000001D,
     "Cannot obtain version information due to the following system error: %1 Defaulting to broadcast-only "
     "mode.\r\n"},
    {0xC000001F,
     "The Quillon failed to locate the arp helper DLL. Ensure that Quillon is properly installed.\r\n"},
    {0xC0000020,
     "The Quillon failed to interface to the arp helper DLL. The service may need to be re-installed.\r\n"},
    {0xC0000021, "Quillon failed to initialize due to the following system error: %1\r\n"},
    {0xC0000022, "%1\r\n"},
};

TEST(MessageTable, HasEachNumberWithItsTextAndNoOther) {
    EXPECT_EQ(MessageTableSize, std::size(Rows));
    for (const auto& [number, text] : Rows)
        EXPECT_STREQ(FindMessageText(number), text) << std::hex << number;
    for (const std::uint32_t number : {0u, 1u, 4u, 0x40000003u, 0x80000022u, 0xC0000005u, 0xE0000022u})
        EXPECT_EQ(FindMessageText(number), nullptr) << std::hex << number;
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
