// The load as a command: drives a server with a closed loop and prints what it saw as a line of JSON.
#include <arpa/inet.h>
#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <map>
#include <string>

#include "closed_loop.h"
#include "first_reply.h"

namespace {

struct CommandLine {
    bench::LoopSettings settings;
    std::string server, relay;
    unsigned warmUp = 200, measured = 1500, patience = 2000, awaitFirst = 0;
};

void AddOptions(CLI::App* app, CommandLine* line) {
    static const std::map<std::string, bench::RequestKind> Kinds = {
        {"bootp", bench::RequestKind::Bootp}, {"discover", bench::RequestKind::Discover}};
    bench::LoopSettings& settings = line->settings;
    app->add_option("--server", line->server, "Address of the server")->required()->check(CLI::ValidIPV4);
    app->add_option("--relay", line->relay, "Own address, that of a relay")
        ->required()
        ->check(CLI::ValidIPV4);
    app->add_option("--port", settings.server.port, "The server's port");
    app->add_option("--kind", settings.form.kind, "bootp or discover")
        ->transform(CLI::CheckedTransformer(Kinds));
    app->add_option("--clients", settings.clients, "Random ones of so many")
        ->check(CLI::Range(1u, bench::MostClients));
    app->add_option("--outstanding", settings.outstanding, "Requests under way at a time")
        ->check(CLI::Range(1u, bench::MostOutstanding));
    app->add_option("--seed", settings.seed, "What the random clients follow from");
    app->add_option("--hostile", settings.hostilePerRequest, "Datagrams with hlen 255 ahead of each request")
        ->check(CLI::Range(0u, 16u));
    app->add_option("--process", settings.serverProcess, "The server's process, for its CPU time");
    app->add_option("--warm-up", line->warmUp, "Milliseconds before the measurement");
    app->add_option("--measured", line->measured, "Milliseconds of the measurement");
    app->add_option("--patience", line->patience, "Milliseconds after which a request is lost");
    app->add_option(
        "--await-first", line->awaitFirst,
        "Only wait for the first reply, for so many milliseconds, and tell its time on the steady clock");
    app->add_flag_callback(
        "--echo", [&settings] { settings.kind = bench::Server::Echo; }, "The server is the echo");
}

bench::NetworkAddress ParseAddress(const std::string& text) {
    bench::NetworkAddress address = {};
    inet_pton(AF_INET, text.c_str(), address.data());
    return address;
}

bench::LoopSettings SettingsOf(const CommandLine& line) {
    bench::LoopSettings settings = line.settings;
    settings.server.address = ParseAddress(line.server);
    settings.relay.address = settings.form.relay = ParseAddress(line.relay);
    settings.warmUp = std::chrono::milliseconds(line.warmUp);
    settings.measured = std::chrono::milliseconds(line.measured);
    settings.patience = std::chrono::milliseconds(line.patience);
    return settings;
}

int PrintFirstReply(const bench::LoopSettings& settings, unsigned limit) {
    const auto first = AwaitFirstReply(settings, std::chrono::milliseconds(limit));
    if (!first) {
        std::fprintf(stderr, "no reply within %u ms\n", limit);
        return 1;
    }
    const std::chrono::nanoseconds time = first->time_since_epoch();
    std::printf("{\"first_reply_ns\": %lld}\n", static_cast<long long>(time.count()));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Drives a boot server with a closed loop, as a relay with random clients.");
    CommandLine line;
    AddOptions(&app, &line);
    CLI11_PARSE(app, argc, argv);
    try {
        const bench::LoopSettings settings = SettingsOf(line);
        if (line.awaitFirst != 0) return PrintFirstReply(settings, line.awaitFirst);
        bench::LoadResult result = RunClosedLoop(settings);
        std::puts(ToJson(&result).c_str());
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_load: %s\n", error.what());
        return 1;
    }
}
