// "quillonctl add", "set" and "remove": change bootptab by one client.
#pragma once

#include <CLI/App.hpp>
#include <functional>

namespace quillonctl {

// Adds the commands to `app`. When one has been parsed, `run` is what carries it out; it returns the exit
// status.
void AddEditCommands(CLI::App& app, std::function<int()>& run);

}  // namespace quillonctl
