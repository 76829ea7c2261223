#include "quillonctl/report/clients_command.h"

#include <algorithm>
#include <CLI/CLI.hpp>
#include <ctime>
#include <memory>

#include "quillonctl/complaint.h"
#include "quillonctl/control_failure.h"
#include "quillonctl/json_writer.h"
#include "quillonctl/report/service_facts.h"

namespace quillonctl {
namespace {

struct ClientsArguments {
    bool unknown = false;
    bool silent = false;
    std::string since;
    bool json = false;
    double timeout = 30;
};

// "90", "90s", "5m", "1h", "2d" in seconds.
std::optional<std::int64_t> ParseSpan(const std::string& text) {
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    if (digits == 0 || digits > 9) return std::nullopt;
    const std::string unit = text.substr(digits);
    const std::int64_t number = std::stoll(text.substr(0, digits));
    if (unit.empty() || unit == "s") return number;
    if (unit == "m") return number * 60;
    if (unit == "h") return number * 3600;
    if (unit == "d") return number * 86400;
    return std::nullopt;
}

struct Table {
    std::vector<std::vector<std::string>> rows;  // the first one is the head

    std::string Text() const {
        std::string text;
        std::vector<std::size_t> widths(rows.front().size());
        for (const auto& row : rows)
            for (std::size_t i = 0; i < row.size(); ++i)
                widths[i] = std::max(widths[i], row[i].size());
        for (const auto& row : rows) {
            for (std::size_t i = 0; i + 1 < row.size(); ++i)
                text += row[i] + std::string(widths[i] + 2 - row[i].size(), ' ');
            text += row.back() + "\n";
        }
        return text;
    }
};

std::string KnownText(const std::vector<KnownClient>& clients, bool silent) {
    Table table{{silent ? std::vector<std::string>{"CLIENT", "ADDRESS", "LAST ANSWER"}
                        : std::vector<std::string>{"CLIENT", "ADDRESS", "LAST ANSWER", "REPLY", "ROUTE"}}};
    for (const KnownClient& client : clients) {
        table.rows.push_back(
            {client.hardwareAddress, client.address, client.time == 0 ? "none" : LocalTimeText(client.time)});
        if (!silent) table.rows.back().insert(table.rows.back().end(), {client.reply, client.route});
    }
    return table.Text();
}

std::string UnansweredText(const std::vector<UnansweredClient>& clients) {
    Table table{{{"CLIENT", "LAST", "FIRST", "COUNT", "REQUEST", "RELAY", "INTERFACE", "WHY"}}};
    for (const UnansweredClient& client : clients)
        table.rows.push_back({client.hardwareAddress, LocalTimeText(client.last), LocalTimeText(client.first),
                              std::to_string(client.count), client.request,
                              client.relay == "0.0.0.0" ? "-" : client.relay, client.local,
                              RefusalText(client.refusal)});
    return table.Text();
}

std::string KnownJson(const std::vector<KnownClient>& clients) {
    JsonWriter json;
    json.BeginArray();
    for (const KnownClient& client : clients) {
        json.BeginObject().Key("hardwareAddress").String(client.hardwareAddress);
        json.Key("address").String(client.address);
        if (client.time != 0) {
            json.Key("lastAnswer").Number(client.time);
            json.Key("reply").String(client.reply);
            json.Key("route").String(client.route);
        }
        json.End();
    }
    json.End();
    return json.Text() + "\n";
}

std::string UnansweredJson(const std::vector<UnansweredClient>& clients) {
    JsonWriter json;
    json.BeginArray();
    for (const UnansweredClient& client : clients) {
        json.BeginObject().Key("hardwareAddress").String(client.hardwareAddress);
        json.Key("first").Number(client.first).Key("last").Number(client.last);
        json.Key("count").Number(client.count);
        json.Key("request").String(client.request);
        json.Key("relay").String(client.relay);
        json.Key("interface").String(client.local);
        json.Key("refusal").String(client.refusal);
        json.Key("text").String(RefusalText(client.refusal)).End();
    }
    json.End();
    return json.Text() + "\n";
}

// The latest first.
template <class Client>
void Sort(std::vector<Client>& clients, std::int64_t Client::*time) {
    std::ranges::stable_sort(clients, std::greater<>(), time);
}

int Clients(const ClientsArguments& arguments) {
    const std::chrono::milliseconds patience(static_cast<long>(arguments.timeout * 1000));
    const std::int64_t begin = arguments.since.empty() ? 1 : std::time(nullptr) - *ParseSpan(arguments.since);
    DWORD error = ERROR_SUCCESS;
    auto facts = AskClients(arguments.unknown ? ServiceReport::Unanswered : ServiceReport::Clients, "", error,
                            patience);
    if (!facts) return ComplainOfControl("clients", error);
    std::erase_if(facts->known,
                  [&](const KnownClient& client) { return (client.time < begin) != arguments.silent; });
    std::erase_if(facts->unanswered, [&](const UnansweredClient& client) { return client.last < begin; });
    Sort(facts->known, &KnownClient::time);
    Sort(facts->unanswered, &UnansweredClient::last);
    if (arguments.unknown)
        return Output(arguments.json ? UnansweredJson(facts->unanswered) : UnansweredText(facts->unanswered));
    return Output(arguments.json ? KnownJson(facts->known) : KnownText(facts->known, arguments.silent));
}

}  // namespace

void AddClientsCommand(CLI::App& app, std::function<int()>& run) {
    CLI::App* command =
        app.add_subcommand("clients", "Show when clients were last answered, and who got no answer");
    const auto arguments = std::make_shared<ClientsArguments>();
    CLI::Option* unknown = command->add_flag("--unknown", arguments->unknown,
                                             "hardware addresses that got no answer, known or not, and why");
    command->add_flag("--silent", arguments->silent, "clients of the database that weren't answered")
        ->excludes(unknown);
    command
        ->add_option("--since", arguments->since,
                     "only what was in this time: 90s, 5m, 1h, 2d; without, since the start")
        ->type_name("TIME")
        ->check(CLI::Validator(
            [](const std::string& text) {
                return ParseSpan(text) ? std::string() : "'" + text + "' is no time like 90s, 5m, 1h or 2d";
            },
            ""));
    command->add_flag("--json", arguments->json, "show them as JSON, with times in seconds since 1970");
    command->add_option("--timeout", arguments->timeout, "seconds to wait for the service")
        ->check(CLI::Range(0.001, 86400.0))
        ->capture_default_str();
    command->footer(
        "A client in the cache keeps its last answer until the service ends. Of the clients beyond "
        "CacheSize, "
        "and\n"
        "of the hardware addresses that got no answer, the last 1024 are kept.\n"
        "\n"
        "Exit status: 0 shown, 1 the service tells nothing now, 2 wrong usage or a failure on this side, 3 "
        "the\n"
        "service isn't running or doesn't answer.\n"
        "\n"
        "Examples:\n"
        "  quillonctl clients --since 1h\n"
        "  quillonctl clients --unknown --json\n"
        "  quillonctl clients --silent --since 7d");
    command->callback([arguments, &run] { run = [arguments] { return Clients(*arguments); }; });
}

}  // namespace quillonctl
