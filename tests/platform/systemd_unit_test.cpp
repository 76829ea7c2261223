#include "platform/linux/instance/systemd_unit.h"

#include <gmock/gmock.h>

#include "run_shell.h"
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
          "ExecStartPre=/bin/false check --refusals", "Wants=network-online.target",
          "After=network-online.target", "StartLimitIntervalSec=0", "RestartSec=5", "DynamicUser=yes",
          "TimeoutStopSec=45", "WorkingDirectory=/var/lib/quillon"})
        EXPECT_THAT(unit, HasSubstr("\n" + std::string(line) + "\n"));
    EXPECT_THAT(unit, Not(HasSubstr("QUILLON_HOME")));
    settings.controlTool = "quillonctl";
    EXPECT_THAT(UnitText(settings).value(), Not(HasSubstr("ExecStartPre")));

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

TEST(SystemdUnit, SystemdFindsNothingToSayAgainstIt) {
    if (RunShell("systemd-analyze --version").code != 0) GTEST_SKIP() << "systemd-analyze is not installed";
    const TemporaryFolder folder;
    UnitSettings homeOfRoot = OwnHome();
    homeOfRoot.user = "root";
    homeOfRoot.readsHomes = true;
    for (const UnitSettings& settings : {Usual(), OwnHome(), homeOfRoot}) {
        const std::string unit = folder.Write("quillon.service", UnitText(settings).value());
        const Said verdict = RunShell("systemd-analyze verify " + unit);
        EXPECT_TRUE(verdict.code == 0 && verdict.text.empty()) << verdict.text;
        // The threshold is in tenths; above it the command fails.
        const Said rating =
            RunShell("systemd-analyze security --no-pager --offline=true --threshold=25 " + unit);
        EXPECT_EQ(rating.code, 0) << rating.text;
    }
}

}  // namespace
