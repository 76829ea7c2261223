// Runs a command of the shell, with both of its outputs in one.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

struct Said {
    int code = -1;  // its exit status, or -1
    std::string text;
};

inline Said RunShell(const std::string& command) {
    Said said;
    std::FILE* const pipe = ::popen(("{ " + command + "; } 2>&1").c_str(), "r");
    if (pipe == nullptr) return said;
    for (int byte = std::getc(pipe); byte != EOF; byte = std::getc(pipe))
        said.text += static_cast<char>(byte);
    if (const int status = ::pclose(pipe); WIFEXITED(status)) said.code = WEXITSTATUS(status);
    return said;
}
