// The text of the unit by which systemd starts the service. Within the layer, and for the operator's command.
#pragma once

#include <optional>
#include <string>

struct UnitSettings {
    std::string description;
    std::string executable;  // absolute path
    // quillonctl, which carries a reload out and, if this is its absolute path, checks the files before each
    // start; else a name to be searched for.
    std::string controlTool;
    std::string home;         // of an instance with a home of its own; empty for the system's
    std::string user;         // that an instance with a home of its own runs as; it has to own the home
    bool readsHomes = false;  // whether the executable lies among the users' homes
};

// The settings that fit this machine: the tool beside the executable or else in the search path, and the home
// that QUILLON_HOME names with its owner.
UnitSettings SettingsHere(const std::string& description, const std::string& executable);

// Nothing if a path can't be written into a unit: it has a control character, or isn't absolute.
std::optional<std::string> UnitText(const UnitSettings& settings);

// "quillon.service" for "Quillon"; nothing for a name that can't be one of a unit.
std::optional<std::string> UnitName(const std::string& service);
