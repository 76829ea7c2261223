#include "quillonctl/command_line/usage.h"

#include <algorithm>
#include <CLI/CLI.hpp>
#include <cstdlib>

#include "quillonctl/edit/bootptab_text.h"
#include "quillonctl/service_parameter.h"
#include "quillonctl/text/nearest_name.h"
#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

constexpr std::size_t MostClients = 500;  // that are worth a list

std::vector<const CLI::App*> Commands(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* command) { return !command->get_name().empty(); });
}

std::vector<std::string> CommandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : Commands(app))
        names.push_back(command->get_name());
    return names;
}

// With those of the program, which may stand after the command as well.
std::vector<const CLI::Option*> OptionsOf(const CLI::App& app, const CLI::App& command) {
    const auto hasName = [](const CLI::Option* option) { return !option->get_lnames().empty(); };
    std::vector<const CLI::Option*> options = command.get_options(hasName);
    if (&command == &app) return options;
    for (const CLI::Option* option : app.get_options(hasName)) {
        const bool isThere = std::ranges::any_of(
            options, [&](const CLI::Option* own) { return own->get_lnames() == option->get_lnames(); });
        if (!isThere && option->get_lnames()[0] != "version") options.push_back(option);
    }
    return options;
}

std::string LongName(const CLI::Option& option) {
    return "--" + option.get_lnames()[0];
}

const CLI::App& CommandOf(const CLI::App& app) {
    const std::vector<CLI::App*> parsed = app.get_subcommands();
    return parsed.empty() ? app : *parsed.front();
}

std::string UnknownWord(const CLI::App& app, const std::string& word) {
    const CLI::App& command = CommandOf(app);
    if (word.starts_with('-')) {
        std::vector<std::string> names;
        for (const CLI::Option* option : OptionsOf(app, command))
            names.push_back(LongName(*option));
        const std::string name = word.substr(0, word.find('='));
        return "unknown option '" + name + "'" + DidYouMean(name, names);
    }
    if (&command == &app) return "unknown command '" + word + "'" + DidYouMean(word, CommandNames(app));
    return "'" + command.get_name() + "' takes no further argument '" + word + "'";
}

// The clients of the service's bootptab.
std::string ClientLines(const std::string& begin) {
    std::string error;
    const auto text = ReadWholeFile(DatabasePath(), error);
    if (!text) return "";
    std::string lines;
    std::size_t count = 0;
    for (const SectionLines& section : BootptabText(*text).Sections()) {
        const std::string name = Lower(section.name);
        if (!IsClient(section.name) || !name.starts_with(Lower(begin))) continue;
        if (++count > MostClients) break;
        lines += name + "\n";
    }
    return lines;
}

// What may stand for a value of this kind: `kind` is the name of an argument or the type of an option's
// value.
std::string ValueLines(const std::string& kind, const std::string& begin) {
    if (kind == "MAC") return ClientLines(begin);
    if (kind == "FILE" || kind == "PATH") return ":file\n";
    if (kind.find("DIR") != std::string::npos) return ":folder\n";
    std::string lines;
    if (kind.find('|') == std::string::npos) return lines;
    for (const std::string& word : Split(kind, "|"))
        if (word.starts_with(begin)) lines += word + "\n";
    return lines;
}

// The command line so far, word by word.
class Reader {
  public:
    explicit Reader(const CLI::App& app) : app_(app), command_(&app) {}

    void Take(const std::string& word) {
        if (word == "=") return;  // some shells part an option from its value there
        if (option_ != nullptr) {
            if (option_->get_lnames()[0] == "home") ::setenv("QUILLON_HOME", word.c_str(), 1);
            option_ = nullptr;
        } else if (word.starts_with("--")) {
            TakeOption(word);
        } else if (command_ != &app_) {
            ++arguments_;
        } else {
            for (const CLI::App* command : Commands(app_))
                if (command->get_name() == word) command_ = command;
        }
    }

    std::string Lines(const std::string& begin) const {
        if (option_ != nullptr) return ValueLines(option_->get_type_name(), begin == "=" ? "" : begin);
        if (begin.starts_with('-')) return OptionLines(begin);
        if (command_ == &app_) return CommandLines(begin);
        std::size_t number = 0;
        for (const CLI::Option* option : command_->get_options())
            if (option->get_positional() && number++ == arguments_)
                return ValueLines(option->get_name(true), begin);
        return "";
    }

  private:
    void TakeOption(const std::string& word) {
        for (const CLI::Option* option : OptionsOf(app_, *command_))
            if (LongName(*option) == word && option->get_items_expected_max() > 0) option_ = option;
    }

    std::string OptionLines(const std::string& begin) const {
        std::string lines;
        for (const CLI::Option* option : OptionsOf(app_, *command_))
            if (LongName(*option).starts_with(begin))
                lines += LongName(*option) + "\t" + option->get_description() + "\n";
        return lines;
    }

    std::string CommandLines(const std::string& begin) const {
        std::string lines;
        for (const CLI::App* command : Commands(app_))
            if (command->get_name().starts_with(begin))
                lines += command->get_name() + "\t" + command->get_description() + "\n";
        return lines;
    }

    const CLI::App& app_;
    const CLI::App* command_;
    const CLI::Option* option_ = nullptr;  // whose value comes next
    std::size_t arguments_ = 0;            // of the command so far
};

}  // namespace

std::string UsageComplaint(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<std::string> unknown = app.remaining(true);
    const CLI::App& command = CommandOf(app);
    const bool isCommandMissing = &command == &app && unknown.empty();
    std::string complaint = error.what();
    if (!unknown.empty())
        complaint = UnknownWord(app, unknown.front());
    else if (isCommandMissing && error.get_name() == "RequiredError")
        complaint = "a command is missing";
    return complaint + "\nSee 'quillonctl " + (&command == &app ? "" : command.get_name() + " ") + "--help'.";
}

void OneOf(CLI::Option& option, const std::vector<std::string>& words) {
    std::string type;
    for (const std::string& word : words)
        type += (type.empty() ? "" : "|") + word;
    option.type_name(type)->check(CLI::Validator(
        [words, type](const std::string& word) {
            if (std::ranges::find(words, word) != words.end()) return std::string();
            return "'" + word + "' is none of " + type + DidYouMean(word, words);
        },
        ""));
}

std::string Completions(const CLI::App& app, const std::vector<std::string>& words) {
    Reader reader(app);
    for (std::size_t at = 0; at + 1 < words.size(); ++at)
        reader.Take(words[at]);
    return reader.Lines(words.empty() ? "" : words.back());
}

}  // namespace quillonctl
