#include "quillonctl/check/check_command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "quillonctl/check/database_check.h"
#include "quillonctl/complaint.h"
#include "quillonctl/json_writer.h"

namespace quillonctl {
namespace {

struct CheckArguments {
    std::string file;
    bool asJson = false;
    bool strict = false;
    bool refusalsOnly = false;
};

std::string Counted(std::size_t count, const char* word) {
    return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

std::string AsText(const CheckOutcome& outcome, bool refusalsOnly) {
    std::string text;
    for (const Finding& finding : outcome.findings.All())
        if (finding.refuses || !refusalsOnly) text += FindingLine(finding);
    if (refusalsOnly) return text;
    const Findings& findings = outcome.findings;
    return text + outcome.file + ": " + Counted(outcome.clients, "client") + "; " +
           Counted(findings.Count(Severity::Error), "error") + ", " +
           Counted(findings.Count(Severity::Warning), "warning") + ", " +
           Counted(findings.Count(Severity::Note), "note") + "; " +
           (findings.Refuses() ? "a load is refused" : "a load works") + "\n";
}

std::string AsJson(const CheckOutcome& outcome) {
    JsonWriter json;
    json.BeginObject().Key("file").String(outcome.file);
    json.Key("clients").Number(static_cast<std::int64_t>(outcome.clients));
    json.Key("refused").Boolean(outcome.findings.Refuses());
    json.Key("findings").BeginArray();
    for (const Finding& finding : outcome.findings.All()) {
        json.BeginObject().Key("file").String(finding.file).Key("line").Number(finding.line);
        json.Key("severity").String(SeverityName(finding.severity)).Key("text").String(finding.text);
        json.Key("refuses").Boolean(finding.refuses).End();
    }
    json.End().End();
    return json.Text() + "\n";
}

bool IsBad(const Findings& findings, const CheckArguments& arguments) {
    if (arguments.refusalsOnly) return findings.Refuses();
    return findings.Count(Severity::Error) != 0 ||
           (arguments.strict && findings.Count(Severity::Warning) != 0);
}

int Check(const CheckArguments& arguments) {
    const CheckOutcome outcome =
        CheckDatabase(arguments.file.empty() ? std::nullopt : std::optional(arguments.file),
                      arguments.refusalsOnly ? CheckDepth::Refusals : CheckDepth::Everything);
    const std::string text = arguments.asJson ? AsJson(outcome) : AsText(outcome, arguments.refusalsOnly);
    if (!outcome.isRead) {
        if (!outcome.findings.All().empty()) Output(text);
        return Complain(outcome.file + ": " + outcome.error);
    }
    return Output(text, IsBad(outcome.findings, arguments) ? ExitRefused : ExitDone);
}

}  // namespace

void AddCheckCommand(CLI::App& app, std::function<int()>& run) {
    CLI::App* command = app.add_subcommand("check", "Look for mistakes in bootptab and in the registry");
    const auto arguments = std::make_shared<CheckArguments>();
    command
        ->add_option("file", arguments->file,
                     "a bootptab; that of the instance, with its registry, if not given")
        ->type_name("FILE");
    command->add_flag("--json", arguments->asJson, "print the findings as JSON");
    command->add_flag("--strict", arguments->strict, "let warnings count as errors");
    command->add_flag("--refusals", arguments->refusalsOnly, "say only what makes a load fail");
    command->footer(
        "Each finding is a line FILE:LINE: error|warning|note: TEXT.\n"
        "\n"
        "Exit status: 0 nothing wrong, 1 errors (with --strict warnings as well), 2 a file can't be read.\n"
        "\n"
        "Examples:\n"
        "  quillonctl check\n"
        "  quillonctl check --strict new-bootptab");
    command->callback([arguments, &run] { run = [arguments] { return Check(*arguments); }; });
}

}  // namespace quillonctl
