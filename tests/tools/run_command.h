// Runs the built quillonctl and collects what it says.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

struct CommandResult {
    int status = -1;  // exit status, or -1 if it was killed or couldn't be started
    std::string output, errors;
};

// `environment` holds NAME=VALUE settings beyond those of the test.
CommandResult RunQuillonctl(const std::vector<std::string>& arguments,
                            const std::vector<std::string>& environment = {});

// Starts it, and doesn't wait for its end. What it says goes to the files.
pid_t StartQuillonctl(const std::vector<std::string>& arguments,
                      const std::vector<std::string>& environment = {},
                      const std::string& output = "/dev/null", const std::string& errors = "/dev/null");

// The exit status, or -1. Waits for the end.
int StatusOf(pid_t child);
