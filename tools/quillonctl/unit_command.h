// "quillonctl unit": shows the unit by which systemd starts the service, as an installation writes it.
#pragma once

#include <CLI/App.hpp>
#include <functional>

namespace quillonctl {

// Adds the command to `app`. When it has been parsed, `run` is what carries it out; it returns the exit
// status.
void AddUnitCommand(CLI::App& app, std::function<int()>& run);

}  // namespace quillonctl
