#include "service/parameter_load.h"
#include "diagnostics/activity_log.h"
#include "diagnostics/event_report.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "operation_watch.h"
#include "service/generation.h"
#include "service/temporary_home.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;

const std::string helper = "\"HelperDLL\"=\"" HELPER_PATH "\"";

// A record of one test, released at its end.
struct LoadedRecord {
    ServerParameters record = {};
    LoadResult result = LoadParameters(&record);
    LoadedRecord() = default;
    ~LoadedRecord() { ReleaseParameters(&record); }
    LoadedRecord(const LoadedRecord&) = delete;
    LoadedRecord& operator=(const LoadedRecord&) = delete;
};

struct ReadRecord {
    ServerParameters record = {};
    char name[ParameterTextSize] = "stale";
    DWORD result;
    explicit ReadRecord(const char* service = ServiceKey, const char* parameters = ParametersKey)
        : result(ReadRegistryParameters(HKEY_LOCAL_MACHINE, &record, name, service, parameters, AgentKey)) {}
};

// The tests run beside no helper of their own, so the helper's absence is the one failure of a good load.
class ParameterLoad : public testing::Test {
  protected:
    void SetUp() override {
        home.WriteRegistry({helper});
        home.WriteDatabase();
        LiveParameters = {};
        InstallEventMask(31);
    }
    TemporaryHome home;
};

TEST_F(ParameterLoad, AGoodLoadFillsTheRecord) {
    const LoadedRecord loaded;
    ASSERT_EQ(loaded.result, LoadOk);
    EXPECT_THAT(home.EventNumbers(), ElementsAre());
    EXPECT_EQ(loaded.record.EnableLogging, 1u) << "holds 1 after every good load";
    EXPECT_EQ(loaded.record.LogHandle, nullptr);
    EXPECT_NE(loaded.record.LogMutex, nullptr);
    EXPECT_NE(loaded.record.ClientList, nullptr);
    EXPECT_NE(loaded.record.ArpAdd, nullptr);
    EXPECT_NE(loaded.record.ArpRemove, nullptr);
    EXPECT_EQ(loaded.record.CacheSize, 999u) << "counted down by the one client";
    EXPECT_EQ(loaded.record.StaticArpTimeout, 60000u);
    EXPECT_STREQ(loaded.record.SnmpAgentPath, "inetmib1.dll");
    EXPECT_FALSE(std::filesystem::exists(home.Path("bootps.log")));
}

TEST_F(ParameterLoad, EveryFailureHasItsResultAndItsEvent) {
    const std::string good = "[Options]\nIP Address=-2,ipaddress\n[00-01]\nIP Address=10.0.0.1\n";
    const std::string mask = "[Options]\nMask=1,ipaddress\n", none = "none";
    const std::string log = "\"EnableLogging\"=dword:1", path = "\"LogFile\"=\"",
                      libm = "/lib/x86_64-linux-gnu/libm.so.6";
    using Texts = std::vector<std::string>;
    const std::tuple<Texts, std::string, LoadResult, Texts> cases[] = {
        {{"\"ExpireSeconds\""}, good, LoadRegistryFailed, {"0xC0000022"}},
        {{"\"LogLevel\"=\"31\""}, good, LoadRegistryFailed, {"0xC0000022"}},
        {{helper, log, path + "/nowhere/at/all.log\""}, good, LoadLogFailed, {"0xC0000008"}},
        {{helper, log, path + std::string(257, 'x') + "\""}, good, LoadLogPathFailed, {"0xC0000021"}},
        {{helper, "\"CacheSize\"=dword:ffffffff"}, good, LoadHeapFailed, {"0xC000000E"}},
        {{helper}, "[Options]\nMask=1\n[00-01]\na=b\n", LoadCatalogueCorrupt, {"0xC0000006"}},
        {{helper}, none, LoadDatabaseMissing, {"0xC0000007"}},
        {{helper}, mask, LoadListCorrupt, {"0xC0000006"}},
        {{helper}, mask + "[00-01]\n", LoadListCorrupt, {"0xC000001C", "0xC0000006"}},
        {{helper}, "[stray]\na=b\n[00-01]\na=b\n", LoadListCorrupt, {"0xC0000006"}},
        {{"\"HelperDLL\"=\"nosuchhelper.dll\""}, good, LoadHelperMissing, {"0xC000001F"}},
        {{"\"HelperDLL\"=\"" + libm + "\""}, good, LoadHelperEntryMissing, {"0xC0000020"}},
    };
    for (const auto& [registry, database, result, events] : cases) {
        SCOPED_TRACE(registry.back() + database);
        home.WriteRegistry(registry);
        std::filesystem::remove(home.Path("bootptab"));
        std::filesystem::remove(home.Path("events.log"));
        if (database != none) home.Write("bootptab", database);
        const LoadedRecord loaded;
        EXPECT_EQ(loaded.result, result);
        EXPECT_THAT(home.EventNumbers(), ElementsAreArray(events));
        if (registry[0] == "\"ExpireSeconds\"") {
            EXPECT_THAT(home.Read("events.log"), HasSubstr("registry key setting for 'ExpireSeconds'"));
        }
    }
}

TEST_F(ParameterLoad, TheLogIsAppendedToAndBannersStandAlsoAfterAFailure) {
    home.Write("bootps.log", "what was there before\r\n");
    const std::vector<std::string> logging = {helper, "\"EnableLogging\"=dword:1"};
    home.WriteRegistry(logging);
    {
        // Requests of the old generation go on writing where the file ends, and so do those of the new one.
        const LoadedRecord old;
        const LoadedRecord loaded;
        for (const ServerParameters* record : {&loaded.record, &old.record, &loaded.record})
            WriteLogLine(record == &old.record ? "old\r\n" : "new\r\n", record->LogHandle, record->LogMutex,
                         1000);
    }
    EXPECT_THAT(
        home.Read("bootps.log"),
        testing::MatchesRegex("what was there before\r\n([0-9/]{8}   [0-9:]{8}   --- Quillon service started "
                              "---\r\n\r\n){2}new\r\nold\r\nnew\r\n"));
    std::filesystem::remove(home.Path("bootptab"));
    std::filesystem::remove(home.Path("bootps.log"));
    { const LoadedRecord loaded; }
    EXPECT_THAT(home.Read("bootps.log"), HasSubstr("--- Quillon service started ---"));
}

TEST_F(ParameterLoad, AnEmptyLogFileMeansNoLog) {
    home.WriteRegistry({helper, "\"EnableLogging\"=dword:1", "\"LogFile\"=\"\""});
    const LoadedRecord loaded;
    EXPECT_EQ(loaded.result, LoadOk);
    EXPECT_EQ(loaded.record.LogHandle, nullptr);
}

// Failures that no file brings about: each call of an operation fails in turn.
TEST_F(ParameterLoad, EveryOperationThatFailsHasItsResultAndItsEvent) {
    const WatchScope scope;
    std::string many = "[Options]\nIP Address=-2,ipaddress\n";
    for (int at = 0; at < 70; ++at)
        many += "Option " + std::to_string(at) + "=1,byte\n";
    home.Write("bootptab", many + "[00-01]\nIP Address=10.0.0.1\n[00-02]\nIP Address=10.0.0.2\n");
    const auto failures = [&](FailingCall OperationWatch::*operation) {
        std::map<DWORD, std::vector<std::string>> found;
        for (int number = 1; number <= 20; ++number) {
            std::filesystem::remove(home.Path("events.log"));
            (Watched.*operation).number = number;
            const LoadedRecord loaded;
            if (loaded.result == LoadOk) continue;
            found[loaded.result] = home.EventNumbers();
        }
        (Watched.*operation).number = 0;
        return found;
    };
    using Row = std::pair<const DWORD, std::vector<std::string>>;
    EXPECT_THAT(failures(&OperationWatch::heapAlloc),
                ElementsAre(Row{LoadCatalogueNoMemory, {"0xC0000010"}},
                            Row{LoadReaderNoMemory, {"0xC0000010"}}, Row{LoadListNoMemory, {"0xC0000011"}}));
    EXPECT_THAT(failures(&OperationWatch::heapFree),
                ElementsAre(Row{LoadCatalogueReleaseFailed, {"0xC0000010"}},
                            Row{LoadReaderReleaseFailed, {"0xC0000017"}},
                            Row{LoadListReleaseFailed, {"0xC0000017"}}));
    const auto withoutMutex = failures(&OperationWatch::createMutex);
    EXPECT_THAT(withoutMutex, testing::Contains(Row{LoadListFailed, {"0xC0000021"}}));
}

TEST_F(ParameterLoad, TheLogLevelThatCountsForEachEvent) {
    home.Write("bootptab", "[Options]\nIP Address=-2,ipaddress\n[00-01]\n[00-02]\nIP Address=10.0.0.1\n");
    const std::tuple<DWORD, std::string, std::vector<std::string>> rows[] = {
        {31,
         "\"LogLevel\"=dword:0",
         {"0xC000001C", "0xC000001F"}},  // of the record that is live, and no level at all
        {0, "\"LogLevel\"=dword:1f", {"0xC000001F"}},
    };
    for (const auto& [installed, level, events] : rows) {
        std::filesystem::remove(home.Path("events.log"));
        home.WriteRegistry({"\"HelperDLL\"=\"none\"", level});
        InstallEventMask(installed);
        const LoadedRecord loaded;
        EXPECT_EQ(loaded.result, LoadHelperMissing);
        EXPECT_EQ(home.EventNumbers(), events);
    }
}

TEST_F(ParameterLoad, WhatStandsInOtherKeys) {
    const std::string registry = home.Read("registry.reg");
    ::setenv("AGENTS", "/opt/agents", 1);
    home.Write("registry.reg", registry +
                                   "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\RFC1156Agent\\CurrentVersion]\n"
                                   "\"Pathname\"=str(2):\"%AGENTS%/agent.dll\"\n"
                                   "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion]\n"
                                   "\"CurrentVersion\"=\"four\"\n");
    const LoadedRecord loaded;
    EXPECT_STREQ(loaded.record.SnmpAgentPath, "/opt/agents/agent.dll");
    EXPECT_EQ(loaded.record.ForceBroadcast, 1u) << "of an unknown version nothing is known";
    EXPECT_THAT(home.EventNumbers(), ElementsAre("0xC000001D"));
}

TEST(ParameterLimits, OldSystemsBroadcastOnly) {
    const struct {
        DWORD major, minor;
        const char* servicePack;
        bool broadcastOnly;
    } cases[] = {{10, 0, "", false},
                 {4, 0, "", false},
                 {3, 50, "Service Pack 9", true},
                 {3, 51, "Service Pack 3", true},
                 {3, 51, "Service Pack 4", false}};
    for (const auto& [major, minor, servicePack, broadcastOnly] : cases)
        EXPECT_EQ(IsBroadcastOnlySystem(major, minor, servicePack), broadcastOnly) << minor << servicePack;
}

TEST(ParameterLimits, AreAppliedInSilence) {
    const struct {
        DWORD ServerParameters::*field;
        DWORD given, kept;
    } cases[] = {
        {&ServerParameters::DaemonSensitivity, 500001, 500000},
        {&ServerParameters::DaemonSensitivity, 0, 0},
        {&ServerParameters::PacketTripRate, 1001, 1000},
        {&ServerParameters::PacketTripRate, 0, 0},
        {&ServerParameters::Daemonblksize, 100, 600},
        {&ServerParameters::Daemonblksize, 200000, 150000},
        {&ServerParameters::MaxDaemonThreads, 0, 10},
        {&ServerParameters::MaxDaemonThreads, 1001, 10},
        {&ServerParameters::MaxDaemonThreads, 1000, 1000},
    };
    for (const auto& test : cases) {
        ServerParameters record = {};
        record.*test.field = test.given;
        ApplyParameterLimits(&record);
        EXPECT_EQ(record.*test.field, test.kept) << "given " << test.given;
    }
    for (const auto& [given, kept] : {std::pair<LONG, LONG>{604801, 604800}, {-1, -1}, {1, 1}}) {
        ServerParameters record = {};
        record.SecondDaemonThreadTimeout = given;
        ApplyParameterLimits(&record);
        EXPECT_EQ(record.SecondDaemonThreadTimeout, kept);
    }
    for (const auto& [cacheSize, heapSize] :
         {std::pair<DWORD, DWORD>{10, 20000}, {100, 33200}, {0xFFFFFFFF, 4294966964u}})
        EXPECT_EQ(ClientHeapSize(cacheSize), heapSize);
}

TEST_F(ParameterLoad, AnInstallWritesWhatALoadReads) {
    home.Write(
        "registry.reg",
        "Windows Registry Editor Version 5.00\n\n"
        "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Quillon]\n\"ImagePath\"=\"quillon\"\n\n"
        "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Quillon\\Parameters]\n");
    ServerParameters written = {};
    SetDefaultParameters(&written);
    char name[ParameterTextSize];
    ASSERT_EQ(WriteRegistryParameters(HKEY_LOCAL_MACHINE, &written, name, ParametersKey), RegistryReadOk);
    const ReadRecord loaded;
    const ServerParameters& read = loaded.record;
    ASSERT_EQ(loaded.result, RegistryReadOk) << loaded.name;
    EXPECT_STREQ(read.DatabasePath, ".\\bootptab");
    EXPECT_STREQ(read.LogFile, "bootps.log");
    EXPECT_STREQ(read.HelperDLL, "arpadd.dll");
    EXPECT_EQ(read.LogLevel, 31u);
    EXPECT_EQ(read.CacheSize, 1000u);
    EXPECT_EQ(read.MinResponseSize, 0u);
    EXPECT_EQ(read.SecondDaemonThreadTimeout, 1);
}

TEST_F(ParameterLoad, TheKeysThatAreMissingHaveTheirOwnAnswers) {
    const ReadRecord noService("SYSTEM\\Nothing");
    EXPECT_EQ(noService.result, 1213u);
    EXPECT_STREQ(noService.name, "");
    EXPECT_EQ(ReadRecord(ServiceKey, "SYSTEM\\Nothing").result, 87u);
    home.WriteRegistry(
        {"\"LocalAddrs\"=\"10.0.0.1\"", "\"StaticArpTimeout\"=dword:2", "\"MaxDaemonThreads\""});
    const ReadRecord cut;
    EXPECT_EQ(cut.result, 161u);
    EXPECT_STREQ(cut.name, "MaxDaemonThreads");
    EXPECT_STREQ(cut.record.LocalAddrs, "10.0.0.1");
    EXPECT_EQ(cut.record.StaticArpTimeout, 2000u);
}

// The texts have 260 bytes with their NUL. What is there and can't be used is reported; it counts as missing,
// but a list of those who are let in then lets nobody in.
TEST(RegistryParameters, AnOptionalValueThatCannotBeUsedIsReported) {
    const std::string longest(259, 'x');
    const struct {
        const char* rule;
        std::string value;
        const char* reported;  // null: nothing
        std::string addresses;
        const char* countsAs = "missing";
    } cases[] = {
        {"missing", "\"LocalAddrs\"", nullptr, ""},
        {"empty", "\"LocalAddrs\"=\"\"", nullptr, ""},
        {"the longest", "\"LocalAddrs\"=\"" + longest + "\"", nullptr, longest},
        {"too long", "\"LocalAddrs\"=\"" + longest + "x\"", "LocalAddrs", ""},
        {"much too long", "\"LocalAddrs\"=\"" + longest + longest + "\"", "LocalAddrs", ""},
        {"another type", "\"LocalAddrs\"=dword:1", "LocalAddrs", ""},
        {"a number in a text", "\"MinResponseSize\"=\"300\"", "MinResponseSize", ""},
        {"nobody may reload", "\"ReloadSources\"=\"" + longest + "x\"", "ReloadSources", "", "nobody"},
        {"no relay is answered", "\"RelayAgents\"=dword:1", "RelayAgents", "", "nobody"},
        {"a number of eight bytes", "\"MinResponseSize\"=hex(4):1,2,3,4,5,6,7,8", "MinResponseSize", ""},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.rule);
        const TemporaryHome home;
        home.WriteRegistry({test.value, "\"LogLevel\"=dword:0"});
        const ReadRecord read;
        EXPECT_EQ(read.result, RegistryReadOk);
        EXPECT_EQ(read.record.LocalAddrs, test.addresses);
        EXPECT_EQ(read.record.MinResponseSize, 0u);
        EXPECT_EQ(std::string(read.record.ReloadSources) + read.record.RelayAgents,
                  test.countsAs == std::string("nobody") ? "nobody" : "");
        const std::string events = home.Read("events.log");
        EXPECT_EQ(std::count(events.begin(), events.end(), '\n'), test.reported != nullptr ? 1 : 0);
        if (test.reported != nullptr) {
            EXPECT_THAT(events, HasSubstr(" error 0xC0000022 Quillon: The registry value '" +
                                          std::string(test.reported) + "' can't be used; it counts as " +
                                          test.countsAs + "."));
        }
    }
    const TemporaryHome home;
    home.WriteRegistry({"\"DatabasePath\"=\"" + longest + "\"", "\"StaticArpTimeout\"=dword:ffffffff"});
    const ReadRecord read;
    EXPECT_EQ(read.result, RegistryReadOk);
    EXPECT_EQ(read.record.DatabasePath, longest);
    EXPECT_EQ(read.record.StaticArpTimeout, 4294967000u) << "what its 32 bits of milliseconds can hold";
}

}  // namespace
