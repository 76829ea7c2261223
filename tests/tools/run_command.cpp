#include "tools/run_command.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace {

std::string TakeFile(const std::string& path) {
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    ::unlink(path.c_str());
    return text.str();
}

std::string TemporaryFile() {
    std::string path = "/tmp/quillonctl-test-XXXXXX";
    ::close(::mkstemp(path.data()));
    return path;
}

}  // namespace

CommandResult RunQuillonctl(const std::vector<std::string>& arguments,
                            const std::vector<std::string>& environment) {
    CommandResult result;
    const std::string output = TemporaryFile();
    const std::string errors = TemporaryFile();
    std::vector<char*> argv = {const_cast<char*>(QUILLONCTL)};
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(::open(output.c_str(), O_WRONLY), STDOUT_FILENO);
        ::dup2(::open(errors.c_str(), O_WRONLY), STDERR_FILENO);
        for (const std::string& setting : environment)
            ::putenv(const_cast<char*>(setting.c_str()));
        ::execv(QUILLONCTL, argv.data());
        ::_exit(127);
    }
    int status = 0;
    if (child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status))
        result.status = WEXITSTATUS(status);
    result.output = TakeFile(output);
    result.errors = TakeFile(errors);
    return result;
}
