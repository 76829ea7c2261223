// "quillonctl ask": sends a request as a client or a relay agent would, and shows the reply.
#pragma once

#include <CLI/App.hpp>
#include <functional>

namespace quillonctl {

// Adds the command to `app`. When it has been parsed, `run` is what carries it out; it returns the exit
// status.
void AddAskCommand(CLI::App& app, std::function<int()>& run);

}  // namespace quillonctl
