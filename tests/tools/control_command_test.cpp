#include <gmock/gmock.h>
#include <signal.h>

#include "platform/service_fixture.h"
#include "tools/json_syntax.h"
#include "tools/run_command.h"

namespace {

using testing::HasSubstr;

class ControlCommandTest : public ServiceManagerTest {};

TEST_F(ControlCommandTest, DrivesARunningService) {
    StartAndAwaitRunning();
    const struct {
        const char* command;
        const char* state;
    } steps[] = {
        {"query", "RUNNING"}, {"pause", "PAUSED"}, {"interrogate", "PAUSED"}, {"continue", "RUNNING"}};
    for (const auto& step : steps) {
        const CommandResult result = RunQuillonctl({step.command});
        EXPECT_EQ(result.status, 0) << step.command << result.errors;
        EXPECT_EQ(result.output, std::string("state      ") + step.state +
                                     "\naccepts    stop, pause, continue\nexit code  0\n");
    }
    const CommandResult json = RunQuillonctl({"query", "--json"}, {"QUILLON_HOME="});
    EXPECT_EQ(json.status, 3) << "the system's own instance is another one";
    const CommandResult byHome =
        RunQuillonctl({"query", "--json", "--home", home_.Path()}, {"QUILLON_HOME="});
    EXPECT_EQ(byHome.status, 0) << byHome.errors;
    EXPECT_EQ(byHome.output,
              R"({"state":"RUNNING","accepts":["stop","pause","continue"],"exitCode":0,"serviceExitCode":0,)"
              R"("checkPoint":0,"waitHint":0,"error":0})"
              "\n");
    EXPECT_EQ(RunQuillonctl({"stop"}).status, 0);
    EXPECT_EQ(AwaitEnd(), 0);
}

TEST_F(ControlCommandTest, TellsARefusalFromAServiceThatIsNotThere) {
    CommandResult result = RunQuillonctl({"query"});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.output, HasSubstr("STOPPED"));
    result = RunQuillonctl({"stop"});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.errors, HasSubstr("(error 1062)"));

    StartAndAwaitRunning("no-pause");
    result = RunQuillonctl({"pause"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.errors, HasSubstr("(error 1052)"));
    result = RunQuillonctl({"pause", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(JsonSyntax::IsValid(result.output)) << result.output;
    EXPECT_THAT(result.output, HasSubstr(R"("state":"RUNNING")"));

    Signal(SIGSTOP);
    result = RunQuillonctl({"query", "--timeout", "0.3"});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.errors, HasSubstr("(error 1053)"));
    EXPECT_EQ(RunQuillonctl({"query", "--home", HomeFile("nowhere")}).status, 2);
}

TEST_F(ControlCommandTest, ShowsTheUnit) {
    const CommandResult result = RunQuillonctl(
        {"unit", "--executable", "/usr/sbin/quillon", "--tool", "/usr/bin/quillonctl"}, {"QUILLON_HOME="});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output,
                HasSubstr("\nExecStart=/usr/sbin/quillon\nExecReload=/usr/bin/quillonctl reload\n"));
    EXPECT_EQ(RunQuillonctl({"unit", "--executable", "sbin/quillon"}).status, 2);
}

}  // namespace
