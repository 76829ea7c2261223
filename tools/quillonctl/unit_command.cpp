#include "quillonctl/unit_command.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "platform/linux/instance/systemd_unit.h"
#include "quillonctl/complaint.h"

namespace quillonctl {
namespace {

struct UnitArguments {
    std::string executable;
    std::string tool;
};

// The service's program lies beside this one.
std::string ProgramBesideThis() {
    std::error_code failure;
    return (std::filesystem::read_symlink("/proc/self/exe", failure).parent_path() / "quillon").string();
}

int ShowUnit(const UnitArguments& arguments) {
    UnitSettings settings =
        SettingsHere("Quillon", arguments.executable.empty() ? ProgramBesideThis() : arguments.executable);
    if (!arguments.tool.empty()) settings.controlTool = arguments.tool;
    const auto text = UnitText(settings);
    return text ? Output(*text) : Complain("the paths have to be absolute and without control characters");
}

}  // namespace

void AddUnitCommand(CLI::App& app, std::function<int()>& run) {
    CLI::App* command = app.add_subcommand("unit", "Show the unit by which systemd starts the service");
    const auto arguments = std::make_shared<UnitArguments>();
    command
        ->add_option("--executable", arguments->executable,
                     "the service's program, if not the one beside this")
        ->type_name("PATH");
    command->add_option("--tool", arguments->tool, "quillonctl, as the unit shall call it")
        ->type_name("PATH");
    command->footer(
        "Exit status: 0 shown, 2 wrong usage or a failure.\n"
        "\n"
        "Example:\n"
        "  quillonctl unit --executable /usr/sbin/quillon --tool /usr/bin/quillonctl > quillon.service");
    command->callback([arguments, &run] { run = [arguments] { return ShowUnit(*arguments); }; });
}

}  // namespace quillonctl
