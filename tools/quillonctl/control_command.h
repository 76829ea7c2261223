// "quillonctl query", "pause", "continue", "stop" and "interrogate": the service manager's controls.
#pragma once

#include <CLI/App.hpp>
#include <functional>

namespace quillonctl {

// Adds the commands to `app`. When one has been parsed, `run` is what carries it out; it returns the exit
// status.
void AddControlCommands(CLI::App& app, std::function<int()>& run);

}  // namespace quillonctl
