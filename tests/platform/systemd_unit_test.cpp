#include "platform/linux/instance/systemd_unit.h"

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>

#include "temporary_folder.h"

namespace {

using testing::HasSubstr;

UnitSettings Usual() {
    return {.description = "Quillon",
            .executable = "/bin/true",
            .controlTool = "/bin/false",
            .home = "",
            .user = ""};
}

UnitSettings OwnHome() {
    UnitSettings settings = Usual();
    settings.home = "/srv/boot net/50%:\"x\"";
    settings.user = "daemon";
    return settings;
}

TEST(SystemdUnit, FillsInWhatItIsGivenSoThatSystemdReadsItBack) {
    UnitSettings settings = Usual();
    settings.executable = "/opt/a b/100%/$x/@HOME@/quillon";
    const std::string unit = UnitText(settings).value();
    for (const char* line :
         {"ExecStart=\"/opt/a b/100%%/$$x/@HOME@/quillon\"", "ExecReload=/bin/false reload",
          "DynamicUser=yes", "TimeoutStopSec=45", "WorkingDirectory=/var/lib/quillon"})
        EXPECT_THAT(unit, HasSubstr("\n" + std::string(line) + "\n"));
    EXPECT_THAT(unit, Not(HasSubstr("QUILLON_HOME")));

    const std::string own = UnitText(OwnHome()).value();
    for (const char* line : {"WorkingDirectory=/srv/boot net/50%%:\"x\"",
                             "Environment=\"QUILLON_HOME=/srv/boot net/50%%:\\\"x\\\"\"", "User=daemon"})
        EXPECT_THAT(own, HasSubstr("\n" + std::string(line) + "\n"));
    EXPECT_THAT(own, Not(HasSubstr("DynamicUser")));
}

TEST(SystemdUnit, RefusesWhatCannotBeWritten) {
    UnitSettings settings = Usual();
    settings.executable = "/bin/true\nExecStartPre=/bin/evil";
    EXPECT_FALSE(UnitText(settings));
    settings.executable = "relative/quillon";
    EXPECT_FALSE(UnitText(settings));
    settings = OwnHome();
    settings.home = "relative";
    EXPECT_FALSE(UnitText(settings));
    EXPECT_EQ(UnitName("Quillon"), "quillon.service");
    for (const char* name : {"", "a/b", "a\\b", "a b", "../x", "a\n"})
        EXPECT_FALSE(UnitName(name)) << name;
}

// What the command prints, and its exit status at the end.
std::string OutputOf(const std::string& command) {
    std::string output;
    std::FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
    for (int next = std::fgetc(pipe); next != EOF; next = std::fgetc(pipe))
        output += static_cast<char>(next);
    return output + "\nexit " + std::to_string(WEXITSTATUS(::pclose(pipe)));
}

TEST(SystemdUnit, SystemdFindsNothingToSayAgainstIt) {
    if (OutputOf("command -v systemd-analyze").ends_with("exit 127") ||
        !OutputOf("systemd-analyze --version").ends_with("exit 0"))
        GTEST_SKIP() << "systemd-analyze is not installed";
    const TemporaryFolder folder;
    const std::string unit = folder.Path("quillon.service");
    UnitSettings homeOfRoot = OwnHome();
    homeOfRoot.user = "root";
    homeOfRoot.readsHomes = true;
    for (const UnitSettings& settings : {Usual(), OwnHome(), homeOfRoot}) {
        std::ofstream(unit) << UnitText(settings).value();
        EXPECT_EQ(OutputOf("systemd-analyze verify " + unit), "\nexit 0");
        // The threshold is in tenths; above it the command fails.
        EXPECT_THAT(OutputOf("systemd-analyze security --no-pager --offline=true --threshold=25 " + unit),
                    testing::EndsWith("exit 0"));
    }
}

}  // namespace
