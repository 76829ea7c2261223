// "quillonctl explain": what one client gets, and why.
#pragma once

#include <CLI/App.hpp>
#include <functional>

namespace quillonctl {

// Adds the command to `app`. When it has been parsed, `run` is what carries it out; it returns the exit
// status.
void AddExplainCommand(CLI::App& app, std::function<int()>& run);

}  // namespace quillonctl
