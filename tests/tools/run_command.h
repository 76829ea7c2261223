// Runs the built quillonctl and collects what it says.
#pragma once

#include <string>
#include <vector>

struct CommandResult {
    int status = -1;  // exit status, or -1 if it was killed or couldn't be started
    std::string output;
    std::string errors;
};

// `environment` holds NAME=VALUE settings beyond those of the test.
CommandResult RunQuillonctl(const std::vector<std::string>& arguments,
                            const std::vector<std::string>& environment = {});
