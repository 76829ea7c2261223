// The operator's command.
#include <CLI/CLI.hpp>
#include <exception>
#include <functional>
#include <iostream>

#include "quillonctl/ask_command.h"
#include "quillonctl/exit_status.h"

int main(int argc, char** argv) {
    try {
        CLI::App app("Asks and controls the Quillon boot server", "quillonctl");
        app.require_subcommand(1);
        std::function<int()> run;
        quillonctl::AddAskCommand(app, run);
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            return app.exit(error) == 0 ? quillonctl::Done : quillonctl::Failed;
        }
        return run();
    } catch (const std::exception& error) {
        std::cerr << "quillonctl: " << error.what() << "\n";
        return quillonctl::Failed;
    }
}
