#include "quillonctl/control_command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "platform/linux/instance/control_client.h"
#include "platform/linux/instance/home.h"
#include "quillonctl/complaint.h"
#include "quillonctl/control_failure.h"
#include "quillonctl/json_writer.h"

namespace quillonctl {
namespace {

struct Verb {
    const char* name;
    DWORD control;
    const char* help;
};

constexpr Verb Verbs[] = {
    {"query", ControlQuery, "Show the state of the service, as it last reported it"},
    {"pause", SERVICE_CONTROL_PAUSE, "Let the service rest: it goes on existing, but serves no client"},
    {"continue", SERVICE_CONTROL_CONTINUE, "Let a paused service go on"},
    {"stop", SERVICE_CONTROL_STOP, "Stop the service; doesn't wait for its end"},
    {"interrogate", SERVICE_CONTROL_INTERROGATE, "Have the service report its state anew"},
};

struct ControlArguments {
    double timeout = 7;
    bool json = false;
};

std::string StateName(DWORD state) {
    static constexpr const char* Names[] = {"STOPPED",          "START_PENDING", "STOP_PENDING", "RUNNING",
                                            "CONTINUE_PENDING", "PAUSE_PENDING", "PAUSED"};
    return state >= 1 && state <= std::size(Names) ? Names[state - 1] : std::to_string(state);
}

std::vector<std::string> AcceptedControls(const SERVICE_STATUS& status) {
    std::vector<std::string> accepted;
    if ((status.dwControlsAccepted & SERVICE_ACCEPT_STOP) != 0) accepted.emplace_back("stop");
    if ((status.dwControlsAccepted & SERVICE_ACCEPT_PAUSE_CONTINUE) != 0) {
        accepted.emplace_back("pause");
        accepted.emplace_back("continue");
    }
    return accepted;
}

std::string StatusText(const SERVICE_STATUS& status) {
    std::string text = "state      " + StateName(status.dwCurrentState) + "\n";
    std::string accepted;
    for (const std::string& control : AcceptedControls(status))
        accepted += (accepted.empty() ? "" : ", ") + control;
    text += "accepts    " + (accepted.empty() ? "nothing" : accepted) + "\n";
    text += "exit code  " + std::to_string(status.dwWin32ExitCode);
    if (status.dwWin32ExitCode == ERROR_SERVICE_SPECIFIC_ERROR)
        text += ", service-specific code " + std::to_string(status.dwServiceSpecificExitCode);
    return text + "\n";
}

std::string StatusJson(const SERVICE_STATUS& status, DWORD error) {
    JsonWriter json;
    json.BeginObject().Key("state").String(StateName(status.dwCurrentState));
    json.Key("accepts").BeginArray();
    for (const std::string& control : AcceptedControls(status))
        json.String(control);
    json.End();
    json.Key("exitCode").Number(status.dwWin32ExitCode);
    json.Key("serviceExitCode").Number(status.dwServiceSpecificExitCode);
    json.Key("checkPoint").Number(status.dwCheckPoint);
    json.Key("waitHint").Number(status.dwWaitHint);
    json.Key("error").Number(error);
    json.End();
    return json.Text() + "\n";
}

int Control(const Verb& verb, const ControlArguments& arguments) {
    const std::string path = PathOf(HomePlace::ControlSocket);
    const std::chrono::milliseconds patience(static_cast<long>(arguments.timeout * 1000));
    DWORD error = ERROR_SUCCESS;
    auto reply = AskService(path, verb.control, error, patience);
    if (reply) {
        error = reply->error;
    } else if (error == ERROR_SERVICE_NOT_ACTIVE) {
        reply.emplace().status.dwCurrentState = SERVICE_STOPPED;
    }
    const bool isAnswered = reply && (error == ERROR_SUCCESS || error == ERROR_SERVICE_NOT_ACTIVE);
    if (arguments.json && reply) return Output(StatusJson(reply->status, error), ControlStatus(error));
    if (isAnswered && (error == ERROR_SUCCESS || verb.control == ControlQuery))
        return Output(StatusText(reply->status), ControlStatus(error));
    return ComplainOfControl(verb.name, error);
}

}  // namespace

void AddControlCommands(CLI::App& app, std::function<int()>& run) {
    for (const Verb& verb : Verbs) {
        CLI::App* command = app.add_subcommand(verb.name, verb.help);
        const auto arguments = std::make_shared<ControlArguments>();
        command->add_option("--timeout", arguments->timeout, "seconds to wait for the service")
            ->check(CLI::Range(0.001, 86400.0))
            ->capture_default_str();
        command->add_flag("--json", arguments->json, "show the state as JSON");
        command->footer(
            "Only root and the user that the service runs as may do this.\n"
            "\n"
            "Exit status: 0 done, 1 the service doesn't take this control now, 2 wrong usage or a failure on "
            "this\n"
            "side, 3 the service isn't running or doesn't answer.\n"
            "\n"
            "Examples:\n"
            "  quillonctl " +
            std::string(verb.name) + "\n" + "  quillonctl " + std::string(verb.name) +
            " --home /srv/lab --json");
        command->callback(
            [arguments, &run, verb] { run = [arguments, verb] { return Control(verb, *arguments); }; });
    }
}

}  // namespace quillonctl
