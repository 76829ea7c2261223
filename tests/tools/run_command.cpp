#include "tools/run_command.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include "temporary_folder.h"

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
    const int status =
        StatusOf(StartQuillonctl(arguments, environment, folder.Path("output"), folder.Path("errors")));
    return {status, folder.Read("output"), folder.Read("errors")};
}
