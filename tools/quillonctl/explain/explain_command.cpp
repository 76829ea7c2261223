#include "quillonctl/explain/explain_command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "quillonctl/complaint.h"
#include "quillonctl/explain/explained_client.h"
#include "quillonctl/request_builder.h"

namespace quillonctl {
namespace {

struct ExplainArguments {
    std::string hardwareAddress;
    std::string relay;
    std::string interface;
    int hardwareType = 1;
};

int Explain(const ExplainArguments& arguments) {
    ExplainQuestion question;
    const auto bytes = ParseHardwareAddress(arguments.hardwareAddress);
    if (!bytes) return Complain("'" + arguments.hardwareAddress + "' is no hardware address");
    question.hardwareAddress = *bytes;
    question.hardwareType = static_cast<std::uint8_t>(arguments.hardwareType);
    if (!arguments.relay.empty()) {
        question.relay = ParseAddress(arguments.relay);
        if (!question.relay) return Complain("'" + arguments.relay + "' is no address");
    }
    question.interface = arguments.interface;
    const ExplainedClient explained = ExplainClient(question);
    return Output(explained.text, explained.getsReply ? ExitDone : ExitRefused);
}

}  // namespace

void AddExplainCommand(CLI::App& app, std::function<int()>& run) {
    CLI::App* command =
        app.add_subcommand("explain", "Show what one client gets, where that comes from, and what is wrong");
    const auto arguments = std::make_shared<ExplainArguments>();
    command->add_option("mac", arguments->hardwareAddress, "the client's hardware address")
        ->required()
        ->type_name("MAC");
    command->add_option("--relay", arguments->relay, "the relay agent that hands the request on")
        ->type_name("ADDRESS");
    command
        ->add_option("--interface", arguments->interface,
                     "the server's interface by which the request comes: its name or its address")
        ->type_name("NAME");
    command->add_option("--htype", arguments->hardwareType, "hardware type of the request")
        ->check(CLI::Range(0, 255))
        ->type_name("NUMBER");
    command->footer(
        "What the client gets comes from registry and bootptab as they are now; a service that runs may "
        "have\n"
        "loaded them earlier. What has been seen of the client comes from the service, if it runs.\n"
        "\n"
        "Exit status: 0 the client gets a reply, 1 it gets none, 2 wrong usage or a failure.\n"
        "\n"
        "Example:\n"
        "  quillonctl explain 00-a0-c9-11-22-33 --relay 10.20.0.1");
    command->callback([arguments, &run] { run = [arguments] { return Explain(*arguments); }; });
}

}  // namespace quillonctl
