#include <gmock/gmock.h>
#include <pty.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <sstream>

#include "run_shell.h"
#include "temporary_folder.h"
#include "tools/run_command.h"

namespace {

using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

std::vector<std::string> FirstWords(const std::string& text) {
    std::vector<std::string> words;
    std::istringstream lines(text);
    for (std::string line, word; std::getline(lines, line);)
        if (std::istringstream(line) >> word) words.push_back(word);
    return words;
}

// As the help lists them.
std::vector<std::string> Commands() {
    const std::string help = RunQuillonctl({"--help"}).output;
    const std::size_t begin = help.find("Subcommands:\n");
    EXPECT_NE(begin, std::string::npos) << help;
    const std::size_t end = help.find("\n\n", begin);
    return FirstWords(help.substr(begin + 13, end - begin - 13));
}

TEST(CommandLine, NamesTheWordThatIsWrong) {
    const std::pair<std::vector<std::string>, const char*> rows[] = {
        {{"relod"}, "quillonctl: unknown command 'relod'; did you mean 'reload'?\nSee 'quillonctl --help'"},
        {{"xyzzy"}, "quillonctl: unknown command 'xyzzy'\n"},
        {{}, "quillonctl: a command is missing\n"},
        {{"reload", "--jsn"}, "'--jsn'; did you mean '--json'?\nSee 'quillonctl reload --help'.\n"},
        {{"reload", "127.0.0.1", "x"}, "'reload' takes no further argument 'x'\n"},
        {{"ask", "00-11", "--dhcp", "discovr"}, "release|inform; did you mean 'discover'?\n"},
        {{"import", "--from", "xyz", "f"}, "--from: 'xyz' is none of dhcpd|dnsmasq|ethers|csv|kea\n"},
        {{"reload", "--port", "99999"}, "--port: Value 99999 not in range"},
        {{"import", "--from", "kea"}, "FILE is required\n"},
    };
    for (const auto& [words, complaint] : rows) {
        const CommandResult result = RunQuillonctl(words);
        EXPECT_EQ(result.status, 2) << complaint;
        EXPECT_THAT(result.errors, HasSubstr(complaint));
        EXPECT_THAT(result.output, "") << complaint;
    }
    const CommandResult version = RunQuillonctl({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.output, testing::MatchesRegex("quillonctl [0-9]+\\.[0-9.]+\n"));
}

TEST(CommandLine, CompletesWhatMayComeNext) {
    const TemporaryFolder home;
    home.Write("bootptab", "[Options]\n[Template:0a-lab]\n[0A-0b]\n[0a-0c]\n[0c-0d]\n");
    using List = std::vector<std::string>;
    const std::pair<List, List> rows[] = {{{""}, Commands()},
                                          {{"re"}, {"reload", "remove"}},
                                          {{"--home", home.Path(), "set", "0a"}, {"0a-0b", "0a-0c"}},
                                          {{"set", "0a-0b", "0a"}, {}},
                                          {{"import", "--from", "d"}, {"dhcpd", "dnsmasq"}},
                                          {{"import", "--from", "=", "k"}, {"kea"}},
                                          {{"import", "--from", "kea", ""}, {":file"}},
                                          {{"set", "--dry-run", "--un"}, {"--unset"}},
                                          {{"--home", ""}, {":folder"}}};
    for (auto [words, found] : rows) {
        words.insert(words.begin(), {"complete", "--"});
        EXPECT_EQ(FirstWords(RunQuillonctl(words, {"QUILLON_HOME="}).output), found);
    }
}

// Each file is accepted by its shell, and the shell then knows every command.
TEST(CommandLine, CompletesInTheShells) {
    const std::string place = "PATH=$(dirname " QUILLONCTL "):$PATH; cd " COMPLETIONS " && ";
    const struct {
        const char *shell, *check;
        const char* words;
    } rows[] = {
        {"bash", "bash -n quillonctl.bash",
         "bash -c '. ./quillonctl.bash; COMP_WORDS=(quillonctl \"\") COMP_CWORD=1; _quillonctl quillonctl; "
         "printf \"%s\\n\" \"${COMPREPLY[@]}\"'"},
        {"zsh", "zsh -n _quillonctl",
         "zsh -fc '_describe() { print -l ${found%%:*} }; go() { . ./_quillonctl }; words=(quillonctl \"\"); "
         "CURRENT=2; go'"},
        {"fish", "fish --no-execute quillonctl.fish",
         "HOME=$(mktemp -d) fish -c '. ./quillonctl.fish; complete -C \"quillonctl \"'"},
    };
    for (const auto& row : rows) {
        if (RunShell(std::string("command -v ") + row.shell).code != 0) {
            std::printf("%s isn't here\n", row.shell);
            continue;
        }
        const Said check = RunShell(place + row.check);
        EXPECT_TRUE(check.code == 0 && check.text.empty()) << row.shell << ": " << check.text;
        EXPECT_THAT(FirstWords(RunShell(place + row.words).text), IsSupersetOf(Commands())) << row.shell;
    }
}

// What it says on a terminal.
std::string OnTerminal(const char* refusal) {
    int terminal = -1;
    const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        ::setenv("TERM", "xterm", 1);
        ::unsetenv("NO_COLOR");
        if (refusal != nullptr) ::putenv(const_cast<char*>(refusal));
        ::execl(QUILLONCTL, QUILLONCTL, "relod", nullptr);
        ::_exit(127);
    }
    std::string said;
    std::array<char, 4096> block;
    for (ssize_t size = 0; (size = ::read(terminal, block.data(), block.size())) > 0;)
        said.append(block.data(), static_cast<std::size_t>(size));
    ::close(terminal);
    ::waitpid(child, nullptr, 0);
    return said;
}

TEST(CommandLine, HasColoursOnATerminalOnly) {
    EXPECT_THAT(OnTerminal(nullptr), HasSubstr("\033[31mquillonctl:\033[0m unknown"));
    EXPECT_THAT(OnTerminal("NO_COLOR="), HasSubstr("\033["));
    for (const char* refusal : {"NO_COLOR=1", "TERM=dumb"})
        EXPECT_THAT(OnTerminal(refusal), AllOf(HasSubstr("quillonctl: unknown"), Not(HasSubstr("\033["))));
    EXPECT_THAT(RunQuillonctl({"relod"}, {"TERM=xterm"}).errors, Not(HasSubstr("\033[")));
}

}  // namespace
