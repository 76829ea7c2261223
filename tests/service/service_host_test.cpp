// The built program under a service manager of the test's own, on the loopback interface: what it reports,
// what it takes, and how it ends.
#include <gmock/gmock.h>
#include <signal.h>

#include <array>
#include <cstdio>

#include "platform/service_fixture.h"
#include "run_shell.h"
#include "service/temporary_home.h"
#include "tools/run_command.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

constexpr char Starting[] = "STATUS=Starting\nEXTEND_TIMEOUT_USEC=3000000";
constexpr char Running[] = "READY=1\nSTATUS=Running";
constexpr char Paused[] = "STATUS=Paused";
constexpr char Stopping[] = "STOPPING=1\nSTATUS=Stopping\nEXTEND_TIMEOUT_USEC=3000000";
constexpr char StoppingEarly[] = "STOPPING=1\nSTATUS=Stopping\nEXTEND_TIMEOUT_USEC=6000000";
constexpr char Stopped[] = "STOPPING=1\nSTATUS=Stopped";

constexpr char Started[] = "0x40000001";
constexpr char Terminated[] = "0x40000002";

// Whose load takes longer than a control, and much less than the dispatcher waits for it.
#ifdef __SANITIZE_THREAD__
constexpr int ManyClients = 60000;
#else
constexpr int ManyClients = 300000;
#endif

std::string LargeDatabase() {
    std::string text = "[Options]\nIP Address=-2,ipaddress\n";
    for (int i = 0; i < ManyClients; ++i) {
        std::array<char, 80> section;
        std::snprintf(section.data(), section.size(), "[02-00-00-%02x-%02x-%02x]\nIP Address=10.1.%d.%d\n",
                      i >> 16, i >> 8 & 255, i & 255, i >> 8 & 255, i & 255);
        text += section.data();
    }
    // A load that comes to its end reports this one.
    return text + "[02-00-00-ff-ff-ff]\n";
}

Said RunSwitch(const std::string& word) {
    return RunShell(SERVICE_PROGRAM " " + word);
}

std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

class ServiceHost : public ServiceManagerTest {
  protected:
    void WriteHome(std::vector<std::string> changes = {}) {
        changes.insert(changes.begin(), {"\"HelperDLL\"=\"" HELPER_PATH "\"", "\"LocalAddrs\"=\"127.0.0.1\"",
                                         "\"EnableLogging\"=dword:1", "\"CacheSize\"=dword:00080000"});
        home.WriteRegistry(changes);
        home.WriteDatabase();
        home.WriteFreePort();
    }
    void StartUp() { Start("", manager_->Name()); }
    void AwaitRunning() {
        ASSERT_EQ(manager_->Next(), Starting);
        ASSERT_EQ(manager_->Next(), Running);
    }
    // A load that is through answers a reload.
    bool Answers() const { return RunQuillonctl({"reload", "127.0.0.1", "--timeout", "0.5"}).status == 0; }
    void AwaitAnswers() const {
        for (int attempt = 0; attempt < 100 && !Answers(); ++attempt)
            ::usleep(20000);
    }
    void StartAndAwaitAnswers() {
        WriteHome();
        StartUp();
        AwaitRunning();
        AwaitAnswers();
    }
    void Do(const std::string& action) const {
        if (action == "SIGTERM")
            Signal(SIGTERM);
        else if (action == "SIGINT")
            Signal(SIGINT);
        else
            EXPECT_EQ(RunQuillonctl({action}).status, 0) << action;
    }
    // What every end leaves behind. The events and the log are whole when the process is gone.
    void ExpectEndInOrder(int exitCode) {
        EXPECT_EQ(AwaitEnd(), exitCode);
        const std::vector<std::string> events = home.EventNumbers();
        ASSERT_FALSE(events.empty());
        EXPECT_EQ(events.back(), Terminated);
        EXPECT_EQ(std::count(events.begin(), events.end(), Terminated), 1);
        const std::string log = home.Read("bootps.log");
        EXPECT_THAT(log, EndsWith("   --- Quillon service stopped ---\r\n"));
        EXPECT_EQ(Count(log, "--- Quillon service stopped ---"), 1u);
    }

    TemporaryHome home;
};

TEST_F(ServiceHost, ALackOfDescriptorsIsReported) {
    StartAndAwaitAnswers();
    const std::vector<Descriptor> silent = TakeDescriptors();
    EXPECT_EQ(RunQuillonctl({"reload", "127.0.0.1"}).status, 1);
    const std::vector<std::string> events = home.EventNumbers();
    ASSERT_GE(events.size(), 2u);
    EXPECT_EQ(events.back(), "0xC0000004");
    EXPECT_THAT(events[events.size() - 2], testing::StartsWith("0xC00000")) << "the cause";
    Do("stop");
    EXPECT_EQ(AwaitEnd(), 0);
}

// More clients than a page holds, one beyond the cache, and one that can't be used.
TEST_F(ServiceHost, TellsWhatItSaw) {
    constexpr int Clients = 2000;
    WriteHome({"\"CacheSize\"=dword:000007d0", "\"UseClientSrcPort\"=dword:1"});
    std::string database =
        "[Options]\nIP Address=-2,ipaddress\nLease=51,time\n[02-00-00-00-00-ff]\nLease=1\n";
    for (int i = 0; i <= Clients; ++i)
        database += "[02-00-00-00-" + std::to_string(10 + i / 90) + "-" + std::to_string(10 + i % 90) +
                    "]\nIP Address=127.0.0.1\n";
    home.Write("bootptab", database);
    const auto run = [](std::vector<std::string> words, int status = 0) {
        const CommandResult result = RunQuillonctl(words);
        EXPECT_EQ(result.status, status) << result.errors;
        return result.output + result.errors;
    };
    EXPECT_THAT(run({"stats"}, 3), HasSubstr("(error 1062)"));
    StartUp();
    AwaitRunning();
    AwaitAnswers();
    EXPECT_THAT(run({"reload"}),
                AllOf(HasSubstr("error 0xC000001C Quillon: The database entry for hardware address "
                                "02-00-00-00-00-ff is malformed."),
                      HasSubstr("\n2000 of 2001 clients in the cache; see CacheSize\n")));
    EXPECT_THAT(run({"reload", "--json"}),
                HasSubstr(R"("clients":{"inCache":2000,"beyondCache":1,"malformed":1}})"));

    const std::string cached = "02-00-00-00-10-11", beyond = "02-00-00-00-32-30",
                      unknown = "02-00-00-00-00-01";
    run({"ask", cached, "--server", "127.0.0.1", "--dhcp", "discover"});
    run({"ask", beyond, "--server", "127.0.0.1"});
    run({"ask", unknown, "--server", "127.0.0.1", "--dhcp", "inform", "--timeout", "0.2"}, 1);
    run({"reload"});

    const std::string stats = run({"stats", "--json"});
    for (const char* part :
         {R"("clients":{"inCache":2000,"beyondCache":1,"malformed":1,"cacheBytes":664332})",
          R"("DISCOVER":1,)", R"("OFFER":{"relay":0,"broadcast":0,"directed":1,)",
          R"("BOOTP":{"relay":0,"broadcast":0,"directed":1,)", R"("unknownClient":1,)", R"("refused":0})",
          R"("kernelDrops":0,)"})
        EXPECT_THAT(stats, HasSubstr(part));
    EXPECT_THAT(run({"stats"}), AllOf(HasSubstr("  OFFER       1: directed 1\n"),
                                      HasSubstr("  1           Hardware address not found in database.\n")));
    EXPECT_EQ(Count(run({"stats", "--watch", "--count", "2", "--interval", "0.01", "--json"}), "\n"), 2u);

    const std::string answered = run({"clients", "--since", "5m", "--json"});
    EXPECT_EQ(Count(answered, "hardwareAddress"), 2u);
    EXPECT_THAT(answered, AllOf(HasSubstr(cached), HasSubstr(beyond), HasSubstr(R"("reply":"OFFER")")));
    EXPECT_EQ(Count(run({"clients", "--silent"}), "127.0.0.1"), Clients - 1u);
    EXPECT_THAT(
        run({"clients", "--unknown"}),
        testing::ContainsRegex(unknown + " .*  1      INFORM   -      127.0.0.1  Hardware address not"));
    ::usleep(1100000);  // times are whole seconds
    EXPECT_EQ(run({"clients", "--unknown", "--since", "0s", "--json"}), "[]\n");
    run({"clients", "--since", "soon"}, 2);

    EXPECT_THAT(run({"explain", cached}), HasSubstr(": OFFER, directed\n"));
    EXPECT_THAT(run({"explain", beyond}), HasSubstr(": BOOTP, directed\n"));
    EXPECT_THAT(run({"explain", unknown}, 1), HasSubstr(": INFORM at 127.0.0.1: Hardware address not found"));
    EXPECT_THAT(run({"explain", "02-00-00-00-10-12"}), HasSubstr("nothing         as far as"));
    Do("stop");
    EXPECT_EQ(AwaitEnd(), 0);
    EXPECT_THAT(run({"explain", cached}), HasSubstr("service         it doesn't run"));
}

TEST_F(ServiceHost, GoesThroughItsStates) {
    StartAndAwaitAnswers();
    const struct {
        const char *control, *state;
        const char* notification;  // null if the manager is reported nothing new
        bool answers;
    } steps[] = {{"interrogate", "RUNNING", nullptr, true}, {"continue", "RUNNING", nullptr, true},
                 {"pause", "PAUSED", Paused, false},        {"pause", "PAUSED", nullptr, false},
                 {"interrogate", "PAUSED", nullptr, false}, {"continue", "RUNNING", Running, true},
                 {"continue", "RUNNING", nullptr, true}};
    for (const auto& step : steps) {
        SCOPED_TRACE(step.control);
        const CommandResult result = RunQuillonctl({step.control, "--json"});
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(result.output,
                  std::string("{\"state\":\"") + step.state +
                      R"(","accepts":["stop","pause","continue"],"exitCode":0,"serviceExitCode":0,)"
                      R"("checkPoint":0,"waitHint":0,"error":0})"
                      "\n");
        EXPECT_EQ(Answers(), step.answers);
        if (step.notification != nullptr) {
            EXPECT_EQ(manager_->Next(), step.notification);
        }
    }
    Do("stop");
    for (const char* notification : {Stopped, Stopping, Stopped})
        EXPECT_EQ(manager_->Next(), notification);
    ExpectEndInOrder(0);
    EXPECT_EQ(RunQuillonctl({"query"}).status, 3) << "nobody is there any more";
}

TEST_F(ServiceHost, EndsInOrderHoweverItIsStopped) {
    const struct {
        bool loading;  // the database is still being read
        std::vector<std::string> actions;
    } rows[] = {{false, {"SIGTERM"}},
                {false, {"SIGINT"}},
                {false, {"SIGTERM", "SIGTERM"}},
                {false, {"stop", "SIGTERM"}},
                {false, {"pause", "stop"}},
                {false, {"pause", "SIGTERM"}},
                {true, {"stop"}},
                {true, {"SIGTERM"}},
                {true, {"SIGTERM", "SIGTERM"}},
                {true, {"pause", "SIGTERM"}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message()
                     << (row.loading ? "loading: " : "") << testing::PrintToString(row.actions));
        WriteHome();
        if (row.loading) home.Write("bootptab", LargeDatabase());
        StartUp();
        AwaitRunning();
        if (!row.loading) AwaitAnswers();
        for (const std::string& action : row.actions)
            Do(action);
        if (row.actions[0] == "pause") {
            EXPECT_EQ(manager_->Next(), Paused);
        }
        for (const char* notification : {Stopped, row.loading ? StoppingEarly : Stopping, Stopped})
            EXPECT_EQ(manager_->Next(), notification);
        ExpectEndInOrder(0);
        if (row.loading)
            EXPECT_THAT(home.EventNumbers(), ElementsAre(Terminated)) << "the load is interrupted";
        else
            EXPECT_EQ(Count(home.Read("events.log"), Started), 1u);
        home.Write("events.log", "");
        home.Write("bootps.log", "");
    }
}

TEST_F(ServiceHost, AStartThatFailsSaysWhyAndEnds) {
    const struct {
        std::string change;    // of the registry
        const char* database;  // null: none
        int code;
        const char* event;
        bool log;
    } rows[] = {
        {"\"ExpireHits\"", "", 1, "0xC0000022", false},
        {"\"LogFile\"=\"" + home.Path("no/such/folder") + "\"", "", 4, "0xC0000008", false},
        {"\"CacheSize\"=dword:0fffffff", "", 5, "0xC000000E", true},
        {"\"LogLevel\"=dword:0000001f", "[Options]\nMask=1\n", 9, "0xC0000006", true},
        {"\"LogLevel\"=dword:0000001f", nullptr, 11, "0xC0000007", true},
        {"\"LogLevel\"=dword:0000001f", "[Options]\nMask=1,ipaddress\n", 14, "0xC0000006", true},
        {"\"HelperDLL\"=\"nosuchhelper.dll\"", "[00-01]\nIP Address=10.1.0.1\n", 17, "0xC000001F", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.code);
        WriteHome({row.change});
        if (row.database != nullptr)
            home.Write("bootptab", row.database);
        else
            std::filesystem::remove(home.Path("bootptab"));
        StartUp();
        EXPECT_EQ(manager_->Next(), Starting);
        // The load runs beside the start: which of the two is through first is open.
        const std::vector<std::string> both = {manager_->Next(), manager_->Next()};
        EXPECT_THAT(both, UnorderedElementsAre(Running, StoppingEarly));
        EXPECT_EQ(manager_->Next(), "STOPPING=1\nSTATUS=Stopped with exit code 1066, service-specific code " +
                                        std::to_string(row.code));
        EXPECT_EQ(AwaitEnd(), 1);
        EXPECT_THAT(home.EventNumbers(), ElementsAre(row.event, Terminated));
        const std::string log = home.Read("bootps.log");
        for (const char* banner : {"--- Quillon service started ---", "--- Quillon service stopped ---"})
            EXPECT_EQ(Count(log, banner), row.log ? 1u : 0u) << banner;
        home.Write("events.log", "");
        home.Write("bootps.log", "");
    }
}

TEST_F(ServiceHost, IsRemovedOnlyIfItCanBeStopped) {
    StartAndAwaitAnswers();
    Signal(SIGSTOP);
    const Said refused = RunSwitch("-remove");
    Signal(SIGCONT);
    EXPECT_EQ(refused.code, 1);
    EXPECT_EQ(refused.text, "Error querying the service status");
    EXPECT_EQ(RunQuillonctl({"query"}).status, 0) << "it goes on";

    const Said removed = RunSwitch("-REMOVE ignored");
    EXPECT_EQ(removed.code, 0);
    EXPECT_EQ(removed.text, "Stopping the Quillon service...\nQuillon service successfully removed\r\n");
    ExpectEndInOrder(0);
    EXPECT_THAT(home.Read("registry.reg"), HasSubstr("\\Services\\Quillon\\Parameters]"));
    EXPECT_EQ(RunSwitch("-remove").text, "The service is not installed or you do not have access.");
}

}  // namespace
