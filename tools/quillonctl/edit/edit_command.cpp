#include "quillonctl/edit/edit_command.h"

#include <algorithm>
#include <array>
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "quillonctl/command_line/colour.h"
#include "quillonctl/complaint.h"
#include "quillonctl/edit/bootptab_check.h"
#include "quillonctl/edit/bootptab_text.h"
#include "quillonctl/edit/file_edit.h"
#include "quillonctl/edit/unified_diff.h"
#include "quillonctl/reload_command.h"
#include "quillonctl/service_parameter.h"
#include "quillonctl/text/nearest_name.h"
#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

enum class Action { Add, Set, Remove };

constexpr char TemplateKeyName[] = "Template";

// A switch that stands for the key with this tag, whatever the file calls it.
struct TagSwitch {
    const char* name;
    const char* type;
    int tag;
    const char* help;
};
constexpr TagSwitch Switches[] = {
    {"--ip", "ADDRESS", -2, "the client's address"}, {"--host-name", "NAME", 12, "its name"},
    {"--boot-file", "NAME", -1, "its boot file"},    {"--mask", "ADDRESS", 1, "its subnet mask"},
    {"--gateway", "ADDRESS,...", 3, "its gateways"},
};

struct EditArguments {
    std::string hardwareAddress;
    std::string file;
    std::string templateName;
    std::array<std::string, std::size(Switches)> values;
    std::vector<std::string> options;  // "Name=value"
    std::vector<std::string> unset;
    bool dryRun = false;
    bool reload = false;
};

// What the command can't do ends it with this.
struct Refusal {
    std::string complaint;
    int status = ExitRefused;
};

// The name that the file has for a tag: that of a key which the client has already, else the first one.
std::string KeyNameFor(const TagSwitch& wanted, const std::vector<OptionName>& rows,
                       const std::vector<KeyLine>& own) {
    const auto isNamed = [&](const OptionName& row) {
        return std::ranges::any_of(own, [&](const KeyLine& key) { return SameText(key.name, row.name); });
    };
    const OptionName* found = nullptr;
    for (const OptionName& row : rows) {
        if (row.tag != wanted.tag || !row.hasComma) continue;
        if (found == nullptr || (!isNamed(*found) && isNamed(row))) found = &row;
    }
    if (found == nullptr)
        throw Refusal{std::string(wanted.name) + ": [Options] has no key with the tag " +
                      std::to_string(wanted.tag)};
    return found->name;
}

std::string KnownKeyName(const std::string& name, const std::vector<OptionName>& rows) {
    std::vector<std::string> names = {TemplateKeyName};
    for (const OptionName& row : rows) {
        if (SameText(row.name, name)) return row.name;
        names.push_back(row.name);
    }
    if (SameText(name, TemplateKeyName)) return TemplateKeyName;
    throw Refusal{"key '" + name + "' isn't in [Options]" + DidYouMean(name, names)};
}

// What the client's keys shall be, under the names of the file.
std::vector<KeyValue> WantedKeys(const EditArguments& arguments, const BootptabText& file,
                                 const std::vector<KeyLine>& own) {
    const std::vector<OptionName> rows = file.Options();
    std::vector<KeyValue> keys;
    if (!arguments.templateName.empty()) keys.emplace_back(TemplateKeyName, arguments.templateName);
    for (std::size_t at = 0; at < std::size(Switches); ++at)
        if (!arguments.values[at].empty())
            keys.emplace_back(KeyNameFor(Switches[at], rows, own), arguments.values[at]);
    for (const std::string& option : arguments.options) {
        const std::size_t equals = option.find('=');
        const std::string name(Trimmed(option.substr(0, equals)));
        keys.emplace_back(KnownKeyName(name, rows), Trimmed(option.substr(equals + 1)));
    }
    for (const KeyValue& key : keys) {
        const bool isTwice = std::ranges::count_if(keys, [&](const KeyValue& other) {
                                 return SameText(other.first, key.first);
                             }) > 1;
        if (isTwice) throw Refusal{"key '" + key.first + "' is given twice", ExitFailed};
    }
    return keys;
}

void RemoveClient(BootptabText& file, const SectionLines& section, const std::string& path) {
    const auto comment = file.RemoveSection(section);
    if (comment)
        std::cerr << "quillonctl: the comment above [" << section.name << "] stays; see " << path << ":"
                  << *comment << "\n";
}

// Changes the text as the command says.
void Change(Action action, const EditArguments& arguments, BootptabText& file, const std::string& path) {
    const std::string name = *SectionNameOf(arguments.hardwareAddress);
    const auto section = file.Find(name);
    if (action == Action::Add) {
        if (section)
            throw Refusal{"client [" + section->name + "] is there already, in line " +
                          std::to_string(section->heading + 1) + "; 'set' changes it"};
        return file.AddClient(name, WantedKeys(arguments, file, {}));
    }
    if (!section)
        throw Refusal{"there is no client [" + name + "]" + (action == Action::Set ? "; 'add' adds it" : "")};
    if (action == Action::Remove) return RemoveClient(file, *section, path);
    const std::vector<KeyValue> keys = WantedKeys(arguments, file, file.Keys(*section));
    if (keys.empty() && arguments.unset.empty()) throw Refusal{"set: there is nothing to set", ExitFailed};
    for (const KeyValue& key : keys)
        file.Put(*file.Find(name), key);
    for (const std::string& key : arguments.unset)
        if (!file.Remove(*file.Find(name), key))
            throw Refusal{"client [" + section->name + "] has no key '" + key + "'"};
}

// What the change would break; what was broken before is no reason to refuse.
void RefuseFaults(const FileEdit& edit, const std::string& text) {
    const auto faults = NewErrors(edit.Path(), edit.Text(), text);
    if (faults.empty()) return;
    for (const Finding& fault : faults)
        std::cerr << FindingLine(fault);
    throw Refusal{"nothing has been changed"};
}

int Apply(Action action, const EditArguments& arguments) {
    std::string error;
    auto edit = FileEdit::Begin(arguments.file.empty() ? DatabasePath() : arguments.file, error);
    if (!edit) return Complain(error);
    BootptabText file(edit->Text());
    Change(action, arguments, file, edit->Path());
    const std::string text = file.Text();
    RefuseFaults(*edit, text);
    if (arguments.dryRun) return Output(ColouredDiff(UnifiedDiff(edit->Path(), edit->Text(), text)));
    if (text == edit->Text())
        Output("Nothing to change in " + edit->Path() + "\n");
    else if (!edit->Replace(text, error))
        return Complain(error);
    else
        Output("Changed " + edit->Path() + (arguments.reload ? "\n" : "; it takes effect by a reload\n"));
    edit.reset();
    return arguments.reload ? ReloadLocalService() : ExitDone;
}

int RunEdit(Action action, const EditArguments& arguments) {
    try {
        return Apply(action, arguments);
    } catch (const Refusal& refusal) {
        return Complain(refusal.complaint, refusal.status);
    }
}

std::string CheckOption(const std::string& text) {
    const std::size_t equals = text.find('=');
    const bool isGood = equals != std::string::npos && !Trimmed(text.substr(0, equals)).empty();
    return isGood ? "" : "'" + text + "' is not of the form Name=value";
}

// A line break would end the key, and the rest would be another line of the file.
std::string CheckPlainText(const std::string& text) {
    const bool isPlain =
        std::ranges::none_of(text, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; });
    return isPlain ? "" : "a value can't have control characters";
}

void AddKeyOptions(CLI::App& command, Action action, EditArguments& arguments) {
    const CLI::Validator plain(CheckPlainText, "");
    for (std::size_t at = 0; at < std::size(Switches); ++at)
        command.add_option(Switches[at].name, arguments.values[at], Switches[at].help)
            ->type_name(Switches[at].type)
            ->check(plain);
    command.add_option("--template", arguments.templateName, "the template that it shares")
        ->type_name("NAME")
        ->check(plain);
    command.add_option("--option", arguments.options, "any key by its name in [Options], with its value")
        ->type_name("NAME=VALUE")
        ->check(plain)
        ->check(CLI::Validator(CheckOption, ""))
        ->allow_extra_args(false);
    if (action == Action::Set)
        command.add_option("--unset", arguments.unset, "a key to take out")
            ->type_name("NAME")
            ->allow_extra_args(false);
}

const char* FooterOf(Action action) {
    constexpr const char* Shared =
        "Comments, order, line ends, owner and mode of the file stay. What would make it worse is refused, "
        "and\n"
        "the file is replaced as a whole. \"--option Name=value\" may be given several times.\n"
        "\n"
        "Exit status: 0 done, 1 refused, 2 wrong usage or a failure; with --reload also that of the reload.\n"
        "\n"
        "Examples:\n";
    static const std::string Footers[] = {
        std::string(Shared) +
            "  quillonctl add 00-a0-c9-11-22-33 --ip 10.0.0.17 --template lab --host-name pc17 --reload\n"
            "  quillonctl add 00-a0-c9-11-22-33 --ip 10.0.0.17 --option \"Root Path=/srv/thin\" --dry-run",
        std::string(Shared) +
            "  quillonctl set 00-a0-c9-11-22-33 --boot-file pc17-new.img --reload\n"
            "  quillonctl set 00-a0-c9-11-22-33 --option \"Lease Time=1:00:00\" --unset Gateways --dry-run",
        std::string(Shared) + "  quillonctl remove 00-a0-c9-11-22-33 --reload"};
    return Footers[static_cast<std::size_t>(action)].c_str();
}

void AddEditCommand(CLI::App& app, std::function<int()>& run, Action action, const char* name,
                    const char* help) {
    CLI::App* command = app.add_subcommand(name, help);
    const auto arguments = std::make_shared<EditArguments>();
    command->add_option("MAC", arguments->hardwareAddress, "hardware address, as in 00-a0-c9-11-22-33")
        ->type_name("")
        ->required()
        ->check(CLI::Validator(
            [](const std::string& text) {
                return SectionNameOf(text) ? std::string() : "'" + text + "' is not a hardware address";
            },
            ""));
    if (action != Action::Remove) AddKeyOptions(*command, action, *arguments);
    command->add_option("--file", arguments->file, "the bootptab, if not that of the service")
        ->type_name("FILE");
    command->add_flag("--dry-run", arguments->dryRun, "show what would change, and change nothing");
    command->add_flag("--reload", arguments->reload, "have the service read the result");
    command->footer(FooterOf(action));
    command->callback(
        [arguments, action, &run] { run = [arguments, action] { return RunEdit(action, *arguments); }; });
}

}  // namespace

void AddEditCommands(CLI::App& app, std::function<int()>& run) {
    AddEditCommand(app, run, Action::Add, "add", "Add a client to bootptab");
    AddEditCommand(app, run, Action::Set, "set", "Change a client in bootptab");
    AddEditCommand(app, run, Action::Remove, "remove", "Take a client out of bootptab");
}

}  // namespace quillonctl
