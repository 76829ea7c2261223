#include <gmock/gmock.h>
#include <signal.h>

#include "platform/service_fixture.h"
#include "tools/json_syntax.h"
#include "tools/run_command.h"

namespace {

using testing::HasSubstr;

class ControlCommandTest : public ServiceManagerTest {};

TEST_F(ControlCommandTest, DrivesTheServiceOfAHome) {
    StartAndAwaitRunning();
    const CommandResult paused = RunQuillonctl({"pause"});
    EXPECT_EQ(paused.status, 0) << paused.errors;
    EXPECT_EQ(paused.output, "state      PAUSED\naccepts    stop, pause, continue\nexit code  0\n");
    EXPECT_EQ(RunQuillonctl({"query"}, {"QUILLON_HOME="}).status, 3) << "the system's own is another one";
    EXPECT_EQ(RunQuillonctl({"stop", "--home", home_.Path()}, {"QUILLON_HOME="}).status, 0);
    EXPECT_EQ(AwaitEnd(), 0);
}

TEST_F(ControlCommandTest, TellsARefusalFromAServiceThatIsNotThere) {
    const auto expect = [](const std::vector<std::string>& words, int status, const std::string& said) {
        const CommandResult result = RunQuillonctl(words);
        EXPECT_EQ(result.status, status);
        EXPECT_THAT(result.output + result.errors, HasSubstr(said));
        return result.output;
    };
    expect({"query"}, 3, "STOPPED");
    expect({"stop"}, 3, "(error 1062)");
    StartAndAwaitRunning("no-pause");
    expect({"pause"}, 1, "(error 1052)");
    const std::string json = expect({"pause", "--json"}, 1, R"("state":"RUNNING")");
    EXPECT_TRUE(JsonSyntax::IsValid(json)) << json;
    Signal(SIGSTOP);
    expect({"query", "--timeout", "0.3"}, 3, "(error 1053)");
    expect({"query", "--home", HomeFile("nowhere")}, 2, "");
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
