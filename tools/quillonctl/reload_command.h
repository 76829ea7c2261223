// "quillonctl reload": has a service read its parameters and its database anew.
#pragma once

#include <CLI/App.hpp>
#include <functional>

namespace quillonctl {

// Adds the command to `app`. When it has been parsed, `run` is what carries it out; it returns the exit
// status.
void AddReloadCommand(CLI::App& app, std::function<int()>& run);

// Has the service of this machine and this home read them anew, as the command does without arguments; says
// the outcome and returns the exit status.
int ReloadLocalService();

}  // namespace quillonctl
