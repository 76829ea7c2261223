#include "diagnostics/activity_log.h"

#include <gmock/gmock.h>

#include <thread>

#include "diagnostics/event_report.h"
#include "service/temporary_home.h"

namespace {

class ActivityLog : public testing::Test {
  protected:
    TemporaryHome home;
    HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    HANDLE file = CreateFileA(home.Path("log").c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr,
                              OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    ~ActivityLog() override {
        CloseHandle(file);
        CloseHandle(mutex);
    }
};

TEST_F(ActivityLog, LosesALineRatherThanWaitLonger) {
    EXPECT_EQ(WriteLogLine("first\r\n", file, mutex, 100), 1);
    std::thread holder([&] {
        WaitForSingleObject(mutex, INFINITE);
        Sleep(300);
        ReleaseMutex(mutex);
    });
    Sleep(50);
    EXPECT_EQ(WriteLogLine("lost\r\n", file, mutex, 10), 0);
    EXPECT_EQ(WriteLogLine("late\r\n", file, mutex, 5000), 1);
    holder.join();
    EXPECT_EQ(home.Read("log"), "first\r\nlate\r\n");
}

TEST_F(ActivityLog, WithoutAFileOrOnAFullDiskNothingIsWrittenAndNothingBreaks) {
    EXPECT_EQ(WriteLogLine("text", nullptr, mutex, 10), 0);
    const HANDLE full = CreateFileA("/dev/full", GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(full, INVALID_HANDLE_VALUE);
    EXPECT_EQ(WriteLogLine("text", full, mutex, 10), 0);
    CloseHandle(full);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0) << "the mutex was given back each time";
    ReleaseMutex(mutex);
}

TEST_F(ActivityLog, TheTraceRestsAtItsLimitAndSaysSoOnce) {
    InstallEventMask(31);
    const auto trace = [&](DWORD limit) { return WriteTraceBlock("0123456789", file, mutex, 100, limit); };
    EXPECT_EQ(trace(20), 1);
    EXPECT_EQ(trace(20), 1);
    EXPECT_EQ(trace(20), 0);
    EXPECT_EQ(trace(29), 0);
    EXPECT_THAT(home.EventNumbers(), testing::ElementsAre("0x80000024"));
    EXPECT_EQ(trace(0), 1) << "no limit";
    std::filesystem::resize_file(home.Path("log"), 0);
    EXPECT_EQ(trace(10), 1);
    EXPECT_EQ(trace(10), 0);
    EXPECT_EQ(home.EventNumbers().size(), 2u) << "and again when it has gone on in between";
    EXPECT_EQ(home.Read("log"), "0123456789");
}

TEST(EventRepeats, AreLeftOutAndCounted) {
    const TemporaryHome home;
    const auto report = [](DWORD number, WORD level = 31) {
        ReportServiceEvent(EventSource, number, OneString, "text", level, 0);
    };
    InstallEventMask(31);
    for (int at = 0; at < 3; ++at)
        report(0xC0000022);
    EXPECT_EQ(home.EventNumbers().size(), 3u) << "without the setting";
    LimitEventRepeats(1);
    for (const DWORD number : {0xC0000022u, 0xC000001Cu, 0xC0000022u, 0xC0000022u, 0xC000001Cu})
        report(number);
    EXPECT_EQ(home.EventNumbers().size(), 5u);
    // What no level filters, what a load finds, what is filtered anyway, and what no request brings about.
    report(0xC0000022, AllEvents);
    ReportMalformedEntry("my-client");
    ReportSystemError();
    report(0xC0000019, 0);
    report(0xC0000006);
    report(0xC0000006);
    EXPECT_EQ(home.EventNumbers().size(), 10u);
    Sleep(1100);
    home.Write("events.log", "");
    report(0xC0000022);
    report(0xC0000019);
    EXPECT_THAT(home.Read("events.log"),
                testing::HasSubstr("2 further events 0xC0000022 were not reported."));
    EXPECT_THAT(home.EventNumbers(), testing::ElementsAre("0x80000024", "0xC0000022", "0xC0000019"));
    LimitEventRepeats(0);
}

TEST(EventFilter, LetsTypesThroughByTheirBit) {
    const std::pair<DWORD, WORD> types[] = {
        {0x00000003, 4}, {0x40000001, 4}, {0x8000001B, 2}, {0xC0000022, 1}};
    for (const auto& [number, type] : types)
        EXPECT_EQ(EventType(number), type) << number;
    const TemporaryHome home;
    for (const WORD level : {0, 1, 2, 4, 7})
        for (const DWORD number : {0x00000003u, 0x8000001Eu, 0xC000000Fu})
            EXPECT_EQ(ReportServiceEvent(EventSource, number, NoString, nullptr, level, 0), 1);
    EXPECT_THAT(home.EventNumbers(), testing::ElementsAre("0xC000000F", "0x8000001E", "0x00000003",
                                                          "0x00000003", "0x8000001E", "0xC000000F"));
}

TEST(EventText, ComesFromTheSystemOrNamesTheCode) {
    const TemporaryHome home;
    InstallEventMask(31);
    ReportServiceEvent(EventSource, 0xC0000019, SystemString, nullptr, AllEvents, 123456789);
    ReportServiceEvent(EventSource, 0xC0000019, SystemString, nullptr, AllEvents, ERROR_ACCESS_DENIED);
    SetLastError(ERROR_FILE_NOT_FOUND);
    ReportSystemError();
    ReportMalformedEntry("my-client");
    EXPECT_THAT(home.Read("events.log"),
                testing::HasSubstr("The system error is: No text available. The error code is 123456789."));
    EXPECT_THAT(home.Read("events.log"),
                testing::HasSubstr("The database entry for hardware address my-client is malformed."));
    EXPECT_THAT(home.EventNumbers(),
                testing::ElementsAre("0xC0000019", "0xC0000019", "0xC0000021", "0xC000001C"));
}

}  // namespace
