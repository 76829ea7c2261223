#include "quillonctl/reload_command.h"

#include <algorithm>
#include <CLI/CLI.hpp>
#include <cstring>
#include <memory>
#include <string_view>
#include <thread>

#include "quillonctl/check/database_check.h"
#include "quillonctl/complaint.h"
#include "quillonctl/event_tail.h"
#include "quillonctl/exchange.h"
#include "quillonctl/json_writer.h"
#include "quillonctl/local_addresses.h"
#include "quillonctl/reload_effect.h"
#include "quillonctl/request_builder.h"
#include "quillonctl/service_port.h"

namespace quillonctl {
namespace {

using namespace std::string_view_literals;

// Each with its NUL, which is part of the datagram.
constexpr std::string_view Request = "RELOAD REQ\0"sv;
constexpr std::string_view Acknowledgement = "RELOAD ACK\0"sv;
constexpr char ReloadRefused[] = "0xC0000004";  // the event
constexpr std::string_view Refusal = "RELOAD NACK\0"sv;

struct ReloadArguments {
    std::string address;
    std::optional<unsigned> port;
    double timeout = 30;
    bool json = false;
    bool checksFirst = false;
};

// A section of bootptab that the load couldn't use.
constexpr char MalformedEntry[] = "0xC000001C";

struct Outcome {
    ExchangeResult result = ExchangeResult::NoListener;
    bool isAcknowledged = false;
    std::string from;
    std::string error;
};

Bytes BytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

bool Is(Bytes datagram, std::string_view text) {
    return datagram.size() == text.size() && std::memcmp(datagram.data(), text.data(), text.size()) == 0;
}

Outcome AskAt(const IpAddress& address, std::uint16_t port, std::chrono::milliseconds timeout) {
    Route route;
    route.server = address;
    route.serverPort = port;
    route.onlyServer = true;
    Outcome outcome;
    Reply reply;
    std::string notice;
    outcome.result = Exchange(
        route, BytesOf(Request), timeout,
        [](Bytes datagram) { return Is(datagram, Acknowledgement) || Is(datagram, Refusal); }, reply,
        outcome.error, notice);
    if (outcome.result == ExchangeResult::Replied) {
        outcome.isAcknowledged = Is(reply.bytes, Acknowledgement);
        outcome.from = reply.from;
    }
    return outcome;
}

// The first address where somebody listens. One that is silent ends the search: the request may have been
// heard, and another one would make the service load everything a second time.
Outcome AskFirstThatListens(const ReloadArguments& arguments) {
    const auto addresses =
        arguments.address.empty() ? LocalServiceAddresses() : std::vector{*ParseAddress(arguments.address)};
    const auto port = static_cast<std::uint16_t>(arguments.port.value_or(ServicePort()));
    const std::chrono::milliseconds timeout(static_cast<long>(arguments.timeout * 1000));
    Outcome outcome;
    for (const IpAddress& address : addresses) {
        outcome = AskAt(address, port, timeout);
        if (outcome.result == ExchangeResult::Replied || outcome.result == ExchangeResult::NoReply)
            return outcome;
    }
    if (outcome.result == ExchangeResult::NoListener)
        outcome.error = "no service listens on port " + std::to_string(port) + " of " +
                        (arguments.address.empty() ? "this machine" : arguments.address);
    return outcome;
}

// What an acknowledged load didn't take in, although it could be used as a whole.
std::string EffectText(const Counters& counters, std::size_t eventsShown) {
    std::string text;
    const std::int64_t malformed = counters.Value("clients.malformed");
    if (malformed > static_cast<std::int64_t>(eventsShown))
        text += std::to_string(malformed) + " malformed entries in all; see quillonctl check\n";
    const std::int64_t listed = counters.Value("clients.inCache");
    if (const std::int64_t beyond = counters.Value("clients.beyondCache"); beyond != 0)
        text += std::to_string(listed) + " of " + std::to_string(listed + beyond) +
                " clients in the cache; see CacheSize\n";
    return text;
}

std::string OutcomeText(const Outcome& outcome, const std::vector<std::string>& events,
                        const std::optional<Counters>& effect) {
    const bool isColoured = MayHaveColour(STDOUT_FILENO);
    std::string text = outcome.isAcknowledged
                           ? Painted("Reload acknowledged", Colour::Green, isColoured) + " by " + outcome.from
                           : Painted("Reload refused", Colour::Red, isColoured) + " by " + outcome.from +
                                 "; the service goes on with what it had";
    text += "\n";
    for (const std::string& event : events)
        text += "  " + event + "\n";
    if (events.empty() && !outcome.isAcknowledged) text += "For the reason " + EventTail::Hint() + "\n";
    return effect ? text + EffectText(*effect, events.size()) : text;
}

std::string OutcomeJson(const Outcome& outcome, const std::vector<std::string>& events,
                        const std::optional<Counters>& effect) {
    JsonWriter json;
    json.BeginObject().Key("answer").String(outcome.isAcknowledged ? "ACK" : "NACK");
    json.Key("from").String(outcome.from);
    json.Key("events").BeginArray();
    for (const std::string& event : events)
        json.String(event);
    json.End();
    if (effect) {
        json.Key("clients").BeginObject();
        for (const char* name : {"inCache", "beyondCache", "malformed"})
            json.Key(name).Number(effect->Value(std::string("clients.") + name));
        json.End();
    }
    json.End();
    return json.Text() + "\n";
}

// Says what is wrong with the files, and whether the service may be asked to read them.
bool PassesCheck() {
    const CheckOutcome outcome = CheckDatabase(std::nullopt);
    for (const Finding& finding : outcome.findings.All())
        if (finding.severity != Severity::Note) std::cerr << FindingLine(finding);
    if (!outcome.isRead) Complain(outcome.file + ": " + outcome.error);
    return outcome.isRead && outcome.findings.Count(Severity::Error) == 0;
}

// Whether it is the service of this home that is asked.
bool IsOwnService(const ReloadArguments& arguments) {
    if (arguments.port.value_or(ServicePort()) != ServicePort()) return false;
    const auto addresses = LocalServiceAddresses();
    return arguments.address.empty() ||
           std::ranges::find(addresses, *ParseAddress(arguments.address)) != addresses.end();
}

// The lines of a refusal. Its own event follows its answer: until it is there, the next reload would show it.
std::vector<std::string> RefusalLines(const EventTail& tail) {
    for (int tries = 0; tries < 25 && tail.Lines(ReloadRefused).empty(); ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return tail.Lines();
}

int Reload(const ReloadArguments& arguments) {
    if (arguments.checksFirst && !PassesCheck())
        return Complain("the files have errors, so the service isn't asked to read them", ExitRefused);
    const EventTail tail;
    const auto effect = IsOwnService(arguments) ? std::optional<ReloadEffect>(std::in_place) : std::nullopt;
    const Outcome outcome = AskFirstThatListens(arguments);
    switch (outcome.result) {
        case ExchangeResult::Failed:
            return Complain(outcome.error);
        case ExchangeResult::NoListener:
            return Complain(outcome.error, ExitNoService);
        case ExchangeResult::NoReply:
            return Complain("the service doesn't answer", ExitNoService);
        case ExchangeResult::Replied:
            break;
    }
    const auto counters = effect && outcome.isAcknowledged ? effect->Await() : std::nullopt;
    const auto events = outcome.isAcknowledged ? tail.Lines(MalformedEntry) : RefusalLines(tail);
    return Output(
        arguments.json ? OutcomeJson(outcome, events, counters) : OutcomeText(outcome, events, counters),
        outcome.isAcknowledged ? ExitDone : ExitRefused);
}

}  // namespace

int ReloadLocalService() {
    return Reload(ReloadArguments());
}

void AddReloadCommand(CLI::App& app, std::function<int()>& run) {
    CLI::App* command =
        app.add_subcommand("reload", "Have the service read its parameters and its database anew");
    const auto arguments = std::make_shared<ReloadArguments>();
    command
        ->add_option("ADDRESS", arguments->address,
                     "address of the service; without: the first local one where somebody listens")
        ->type_name("")
        ->check(CLI::Validator(
            [](const std::string& text) {
                return ParseAddress(text) ? std::string() : "'" + text + "' is not an IPv4 address";
            },
            ""));
    command->add_flag("--check", arguments->checksFirst,
                      "look for errors in the files of this home first, and don't reload if there are any");
    command
        ->add_option("--port", arguments->port, "port of the service; that of the service bootp if not given")
        ->check(CLI::Range(1u, 65535u));
    command
        ->add_option("--timeout", arguments->timeout,
                     "seconds to wait for the answer, which comes after the load")
        ->check(CLI::Range(0.001, 86400.0))
        ->capture_default_str();
    command->add_flag("--json", arguments->json, "show the answer as JSON");
    command->footer(
        "A refusal is shown with the events that give its reason, an acknowledgement with the sections that "
        "the\n"
        "load couldn't use and the clients that lie beyond CacheSize, if this user may read and ask that.\n"
        "\n"
        "Exit status: 0 acknowledged, 1 refused, 2 wrong usage or a failure on this side, 3 no answer.\n"
        "\n"
        "Examples:\n"
        "  quillonctl reload --check\n"
        "  quillonctl reload 10.0.0.1\n"
        "  quillonctl reload --home /srv/lab --json");
    command->callback([arguments, &run] { run = [arguments] { return Reload(*arguments); }; });
}

}  // namespace quillonctl
