#include <gmock/gmock.h>
#include <pty.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "temporary_folder.h"
#include "tools/run_command.h"

namespace {

using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

struct ShellResult {
    int status = -1;
    std::string output;
};

ShellResult RunShell(const std::string& script) {
    ShellResult result;
    std::FILE* pipe = ::popen(script.c_str(), "r");
    std::array<char, 4096> block;
    for (std::size_t size = 0; (size = std::fread(block.data(), 1, block.size(), pipe)) > 0;)
        result.output.append(block.data(), size);
    result.status = ::pclose(pipe);
    return result;
}

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
    const struct {
        std::vector<std::string> words;
        const char* complaint;
    } rows[] = {
        {{"relod"},
         "quillonctl: unknown command 'relod'; did you mean 'reload'?\nSee 'quillonctl --help'.\n"},
        {{"xyzzy"}, "quillonctl: unknown command 'xyzzy'\n"},
        {{}, "quillonctl: a command is missing\n"},
        {{"reload", "--jsn"},
         "unknown option '--jsn'; did you mean '--json'?\nSee 'quillonctl reload --help'.\n"},
        {{"query", "--hom=x"}, "unknown option '--hom'; did you mean '--home'?\n"},
        {{"reload", "127.0.0.1", "x"}, "'reload' takes no further argument 'x'\n"},
        {{"ask", "00-11", "--dhcp", "discovr"},
         "--dhcp: 'discovr' is none of discover|request|decline|release|inform; did you mean 'discover'?\n"},
        {{"import", "--from", "xyz", "f"}, "--from: 'xyz' is none of dhcpd|dnsmasq|ethers|csv|kea\n"},
        {{"reload", "--port", "99999"}, "--port: Value 99999 not in range"},
        {{"import", "--from", "kea"}, "FILE is required\n"},
    };
    for (const auto& row : rows) {
        const CommandResult result = RunQuillonctl(row.words);
        EXPECT_EQ(result.status, 2) << row.complaint;
        EXPECT_THAT(result.errors, HasSubstr(row.complaint));
        EXPECT_THAT(result.output, "") << row.complaint;
    }
    const CommandResult version = RunQuillonctl({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.output, testing::MatchesRegex("quillonctl [0-9]+\\.[0-9.]+\n"));
}

TEST(CommandLine, CompletesWhatMayComeNext) {
    const TemporaryFolder home;
    std::ofstream(home.Path("bootptab")) << "[Options]\n[Template:0a-lab]\n[0A-0b]\n[0a-0c]\n[0c-0d]\n";
    const auto complete = [&](std::vector<std::string> words) {
        words.insert(words.begin(), {"complete", "--"});
        return FirstWords(RunQuillonctl(words, {"QUILLON_HOME="}).output);
    };
    using List = std::vector<std::string>;
    EXPECT_EQ(complete({""}), Commands());
    EXPECT_EQ(complete({"re"}), (List{"reload", "remove"}));
    EXPECT_EQ(complete({"--home", home.Path(), "set", "0a"}), (List{"0a-0b", "0a-0c"}));
    EXPECT_EQ(complete({"set", "0a-0b", "0a"}), List());
    EXPECT_EQ(complete({"import", "--from", "d"}), (List{"dhcpd", "dnsmasq"}));
    EXPECT_EQ(complete({"import", "--from", "=", "k"}), (List{"kea"}));
    EXPECT_EQ(complete({"import", "--from", "kea", ""}), (List{":file"}));
    EXPECT_EQ(complete({"reload", "--ho"}), (List{"--home"}));
    EXPECT_EQ(complete({"set", "--dry-run", "--un"}), (List{"--unset"}));
    EXPECT_EQ(complete({"--home", ""}), (List{":folder"}));
}

// Each file is accepted by its shell, and the shell then knows every command.
TEST(CommandLine, CompletesInTheShells) {
    const std::string place = "PATH=$(dirname " QUILLONCTL "):$PATH; cd " COMPLETIONS " && ";
    const struct {
        const char* shell;
        const char* check;
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
        if (RunShell(std::string("command -v ") + row.shell).status != 0) {
            std::printf("%s isn't here\n", row.shell);
            continue;
        }
        const ShellResult check = RunShell(place + row.check + " 2>&1");
        EXPECT_EQ(check.status, 0) << row.shell << ": " << check.output;
        const ShellResult words = RunShell(place + row.words + " 2>&1");
        EXPECT_THAT(FirstWords(words.output), IsSupersetOf(Commands())) << row.shell;
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
    for (const char* refusal : {"NO_COLOR=1", "TERM=dumb"}) {
        const std::string said = OnTerminal(refusal);
        EXPECT_THAT(said, HasSubstr("quillonctl: unknown")) << refusal;
        EXPECT_THAT(said, Not(HasSubstr("\033["))) << refusal;
    }
    EXPECT_THAT(RunQuillonctl({"relod"}, {"TERM=xterm"}).errors, Not(HasSubstr("\033[")));
}

}  // namespace
