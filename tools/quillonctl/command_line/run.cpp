#include "quillonctl/command_line/run.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "quillonctl/ask_command.h"
#include "quillonctl/check/check_command.h"
#include "quillonctl/command_line/usage.h"
#include "quillonctl/complaint.h"
#include "quillonctl/control_command.h"
#include "quillonctl/edit/edit_command.h"
#include "quillonctl/explain/explain_command.h"
#include "quillonctl/import/import_command.h"
#include "quillonctl/reload_command.h"
#include "quillonctl/report/clients_command.h"
#include "quillonctl/report/stats_command.h"
#include "quillonctl/unit_command.h"

namespace quillonctl {
namespace {

void AddCommands(CLI::App& app, std::function<int()>& run) {
    AddAskCommand(app, run);
    AddCheckCommand(app, run);
    AddExplainCommand(app, run);
    AddReloadCommand(app, run);
    AddControlCommands(app, run);
    AddStatsCommand(app, run);
    AddClientsCommand(app, run);
    AddEditCommands(app, run);
    AddImportCommand(app, run);
    AddUnitCommand(app, run);
}

}  // namespace

int Run(int argc, char** argv) {
    CLI::App app("Asks and controls the Quillon boot server", "quillonctl");
    app.require_subcommand(1);
    app.fallthrough();
    std::string home;
    app.add_option("--home", home, "home of the instance; QUILLON_HOME if not given")
        ->check(CLI::ExistingDirectory);
    app.set_version_flag("--version", "quillonctl " QUILLONCTL_VERSION, "show the version");
    app.footer("\"quillonctl COMMAND --help\" tells more about each command, with examples.");
    std::function<int()> run;
    AddCommands(app, run);
    // The shells' completions ask with this word, which is no command for people.
    if (argc > 2 && std::string(argv[1]) == "complete" && std::string(argv[2]) == "--")
        return Output(Completions(app, std::vector<std::string>(argv + 3, argv + argc)));
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        return Complain(UsageComplaint(app, error));
    }
    if (!home.empty()) ::setenv("QUILLON_HOME", home.c_str(), 1);
    return run();
}

}  // namespace quillonctl
