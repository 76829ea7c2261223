#include "platform/linux/faces/event_log.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <thread>

#include "platform/linux/events/event_writer.h"
#include "platform/test_home.h"
#include "platform/windows_api.h"

namespace {

using namespace std::string_literals;
using testing::IsSupersetOf;
using testing::MatchesRegex;

BOOL Report(WORD type, DWORD number, const char* text) {
    const HANDLE log = RegisterEventSourceA(nullptr, "Quillon");
    EXPECT_NE(log, nullptr);
    const BOOL result =
        ReportEventA(log, type, 0, number, nullptr, text != nullptr ? 1 : 0, 0, &text, nullptr);
    EXPECT_TRUE(DeregisterEventSource(log));
    return result;
}

TEST(EventLog, WritesALineAnEvent) {
    const TestHome home;
    EXPECT_TRUE(Report(EVENTLOG_INFORMATION_TYPE, 3, nullptr));
    EXPECT_TRUE(Report(EVENTLOG_WARNING_TYPE, 0x8000001E, nullptr));
    EXPECT_TRUE(Report(EVENTLOG_ERROR_TYPE, 0xC0000007, ".\\bootptab"));
    EXPECT_THAT(
        home.Read("events.log"),
        MatchesRegex(
            "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2} information 0x00000003 Quillon: "
            "Quillon has re-loaded its operating parameters\\.\n"
            "[-0-9:T]{19} warning 0x8000001E Quillon: The Quillon has been set to .* datagrams\\.\n"
            "[-0-9:T]{19} error 0xC0000007 Quillon: Quillon failed to initialize because the bootptab "
            "database '\\.\\\\bootptab' does not exist\\.\n"));
}

TEST(EventLog, NoInsertionForgesALine) {
    const std::pair<const char*, const char*> rows[] = {
        {"from the system\r\n", "from the system"},
        {"a\r\n2026-01-01T00:00:00 error 0xC0000001 Quillon: b",
         "a  2026-01-01T00:00:00 error 0xC0000001 Quillon: b"},
        {"\x1B[2Jt\tx\x7F", "?[2Jt x?"},
        {"%1 %2 100%", "%1 %2 100%"},
        {"", ""},
    };
    for (const auto& [insertion, text] : rows)
        EXPECT_EQ(MakeEvent(1, 0xC0000022, "Quillon", {insertion}).text, text);
    EXPECT_EQ(MakeEvent(1, 0xC0000022, "Quillon", {}).text, "") << "an insertion that nobody gave";
    EXPECT_EQ(MakeEvent(1, 0xC0000099, "Quillon", {"x\ny"}).text,
              "There is no text for event 0xC0000099. x y");
}

TEST(EventLog, GivesTheJournalNumberTypeAndSource) {
    const std::tuple<WORD, const char*, const char*> rows[] = {
        {EVENTLOG_ERROR_TYPE, "EVENT_TYPE=error", "PRIORITY=3"},
        {EVENTLOG_WARNING_TYPE, "EVENT_TYPE=warning", "PRIORITY=4"},
        {EVENTLOG_INFORMATION_TYPE, "EVENT_TYPE=information", "PRIORITY=6"},
        {EVENTLOG_SUCCESS, "EVENT_TYPE=information", "PRIORITY=6"}};
    for (const auto& [type, word, priority] : rows)
        EXPECT_THAT(JournalFields(MakeEvent(type, 0xC0000022, "Quillon", {"text"})),
                    IsSupersetOf(
                        {word, priority, "MESSAGE=text", "EVENT_NUMBER=0xC0000022", "EVENT_SOURCE=Quillon"}));
}

TEST(EventLog, ThreadsWriteWholeLines) {
    const TestHome home;
    std::vector<std::jthread> threads;
    const std::string text(3000, 'x');
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&text] {
            for (int n = 0; n < 50; ++n)
                EXPECT_TRUE(Report(EVENTLOG_ERROR_TYPE, 0xC0000022, text.c_str()));
        });
    }
    threads.clear();
    std::ifstream log(home.Path("events.log"));
    int lines = 0;
    for (std::string line; std::getline(log, line); ++lines) {
        ASSERT_EQ(line.size(), sizeof("YYYY-MM-DDTHH:MM:SS error 0xC0000022 Quillon: ") - 1 + text.size());
    }
    EXPECT_EQ(lines, 200);
}

TEST(EventLog, ALineThatWasCutEndsAtTheNextEvent) {
    const TestHome home;
    home.Write("events.log", "2026-01-01T00:00:00 error 0xC00");
    EXPECT_TRUE(Report(EVENTLOG_ERROR_TYPE, 0xC0000022, "whole"));
    EXPECT_THAT(home.Read("events.log"), MatchesRegex("[^\n]* 0xC00\n[^\n]* Quillon: whole\n"));
}

TEST(EventLog, AFullDiskCostsTheCallOnly) {
    const TestHome home;
    std::filesystem::create_symlink("/dev/full", home.Path("events.log"));
    EXPECT_FALSE(Report(EVENTLOG_ERROR_TYPE, 0xC0000022, "x"));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DISK_FULL));
}

TEST(SystemText, HasASentenceForWhatTheServiceReports) {
    for (const DWORD number :
         {2u,    3u,     5u,     6u,     8u,     11u,    13u,    32u,    53u,   87u,   112u,
          122u,  126u,   161u,   183u,   234u,   1015u,  1053u,  1060u,  1063u, 1066u, 1072u,
          1213u, 10013u, 10038u, 10040u, 10048u, 10049u, 10051u, 10107u, 11004u}) {
        char* text = nullptr;
        const DWORD length =
            FormatMessageA(0x1100, nullptr, number, 0x400, reinterpret_cast<LPSTR>(&text), 0, nullptr);
        ASSERT_NE(text, nullptr) << number;
        EXPECT_THAT(text, testing::EndsWith(".")) << number;
        EXPECT_EQ(length, strlen(text));
        char own[300];
        EXPECT_EQ(FormatMessageA(0x1000, nullptr, number, 0x400, own, sizeof(own), nullptr), length);
        EXPECT_EQ(LocalFree(text), nullptr);
    }
}

}  // namespace
