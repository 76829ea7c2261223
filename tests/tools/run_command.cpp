#include "tools/run_command.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "temporary_folder.h"

namespace {

std::string ReadFile(const std::string& path) {
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

}  // namespace

CommandResult RunQuillonctl(const std::vector<std::string>& arguments,
                            const std::vector<std::string>& environment) {
    CommandResult result;
    const TemporaryFolder folder;
    const std::string output = folder.Path("output");
    const std::string errors = folder.Path("errors");
    std::vector<char*> argv = {const_cast<char*>(QUILLONCTL)};
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(::open(output.c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
        ::dup2(::open(errors.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
        for (const std::string& setting : environment)
            ::putenv(const_cast<char*>(setting.c_str()));
        ::execv(QUILLONCTL, argv.data());
        ::_exit(127);
    }
    int status = 0;
    if (child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status))
        result.status = WEXITSTATUS(status);
    result.output = ReadFile(output);
    result.errors = ReadFile(errors);
    return result;
}
