// "quillonctl clients": when the clients were last answered, and who got no answer.
#pragma once

#include <CLI/App.hpp>
#include <functional>

namespace quillonctl {

// Adds the command to `app`. When it has been parsed, `run` is what carries it out; it returns the exit
// status.
void AddClientsCommand(CLI::App& app, std::function<int()>& run);

}  // namespace quillonctl
