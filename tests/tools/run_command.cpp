#include "tools/run_command.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include "temporary_folder.h"

namespace {

std::string ReadWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

pid_t StartQuillonctl(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
                      const std::string& output, const std::string& errors) {
    std::vector<char*> argv = {const_cast<char*>(QUILLONCTL)};
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    const pid_t child = ::fork();
    if (child != 0) return child;
    ::dup2(::open(output.c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
    ::dup2(::open(errors.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
    for (const std::string& setting : environment)
        ::putenv(const_cast<char*>(setting.c_str()));
    ::execv(QUILLONCTL, argv.data());
    ::_exit(127);
}

int StatusOf(pid_t child) {
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

CommandResult RunQuillonctl(const std::vector<std::string>& arguments,
                            const std::vector<std::string>& environment) {
    const TemporaryFolder folder;
    const std::string output = folder.Path("output"), errors = folder.Path("errors");
    const int status = StatusOf(StartQuillonctl(arguments, environment, output, errors));
    return {status, ReadWholeFile(output), ReadWholeFile(errors)};
}
