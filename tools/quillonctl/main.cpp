// The operator's command.
#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <functional>
#include <string>

#include "quillonctl/ask_command.h"
#include "quillonctl/check/check_command.h"
#include "quillonctl/complaint.h"
#include "quillonctl/control_command.h"
#include "quillonctl/edit/edit_command.h"
#include "quillonctl/explain/explain_command.h"
#include "quillonctl/import/import_command.h"
#include "quillonctl/reload_command.h"
#include "quillonctl/unit_command.h"

int main(int argc, char** argv) {
    try {
        CLI::App app("Asks and controls the Quillon boot server", "quillonctl");
        app.require_subcommand(1);
        app.fallthrough();
        std::string home;
        app.add_option("--home", home, "home of the instance; QUILLON_HOME if not given")
            ->check(CLI::ExistingDirectory);
        app.footer("\"quillonctl COMMAND --help\" tells more about each command, with examples.");
        std::function<int()> run;
        quillonctl::AddAskCommand(app, run);
        quillonctl::AddCheckCommand(app, run);
        quillonctl::AddExplainCommand(app, run);
        quillonctl::AddReloadCommand(app, run);
        quillonctl::AddControlCommands(app, run);
        quillonctl::AddEditCommands(app, run);
        quillonctl::AddImportCommand(app, run);
        quillonctl::AddUnitCommand(app, run);
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            return app.exit(error) == 0 ? quillonctl::ExitDone : quillonctl::ExitFailed;
        }
        if (!home.empty()) ::setenv("QUILLON_HOME", home.c_str(), 1);
        return run();
    } catch (const std::exception& error) {
        return quillonctl::Complain(error.what());
    }
}
