#include "quillonctl/report/stats_command.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <thread>

#include "diagnostics/outcome.h"
#include "quillonctl/complaint.h"
#include "quillonctl/control_failure.h"
#include "quillonctl/json_writer.h"
#include "quillonctl/report/service_facts.h"

namespace quillonctl {
namespace {

struct StatsArguments {
    bool json = false;
    bool watch = false;
    double interval = 1;
    unsigned count = 0;
    double timeout = 7;
};

std::string Row(const std::string& about, const std::string& text) {
    return about + std::string(about.size() < 14 ? 14 - about.size() : 1, ' ') + text + "\n";
}

std::string UptimeText(std::int64_t seconds) {
    char text[64];
    std::snprintf(text, sizeof text, "%lld d %02lld:%02lld:%02lld", static_cast<long long>(seconds / 86400),
                  static_cast<long long>(seconds / 3600 % 24), static_cast<long long>(seconds / 60 % 60),
                  static_cast<long long>(seconds % 60));
    return text;
}

std::string ClientsText(const Counters& counters) {
    const auto number = [&](const char* name) {
        return std::to_string(counters.Value(std::string("clients.") + name));
    };
    std::string text =
        Row("clients", number("inCache") + " in the cache, " + number("cacheBytes") + " bytes");
    if (counters.Value("clients.beyondCache") != 0)
        text += Row("", number("beyondCache") + " beyond CacheSize are read from the file at each request");
    if (counters.Value("clients.malformed") != 0)
        text += Row("", number("malformed") + " malformed get no answer; see quillonctl check");
    return text;
}

// Only what there was.
std::string RequestsText(const Counters& counters) {
    std::string text = Row("requests", std::to_string(counters.Sum("requests")));
    for (const char* kind : RequestKindNames)
        if (const std::int64_t count = counters.Value(std::string("requests.") + kind); count != 0)
            text += Row(std::string("  ") + kind, std::to_string(count));
    return text;
}

std::string RepliesText(const Counters& counters) {
    std::string text = Row("replies", std::to_string(counters.Sum("replies")));
    for (const char* kind : ReplyKindNames) {
        const std::string group = std::string("replies.") + kind;
        std::string routes;
        for (const char* route : ReplyRouteNames)
            if (const std::int64_t count = counters.Value(group + "." + route); count != 0)
                routes += (routes.empty() ? "" : ", ") + std::string(route) + " " + std::to_string(count);
        if (!routes.empty())
            text += Row(std::string("  ") + kind, std::to_string(counters.Sum(group)) + ": " + routes);
    }
    return text;
}

std::string RefusalsText(const Counters& counters) {
    std::string text = Row("no reply", std::to_string(counters.Sum("refusals")));
    for (const char* reason : RefusalNames)
        if (const std::int64_t count = counters.Value(std::string("refusals.") + reason); count != 0)
            text += Row("  " + std::to_string(count), RefusalText(reason));
    return text;
}

std::string StatsText(const Counters& counters) {
    const auto drops = counters.Find("kernelDrops");
    return Row("started", LocalTimeText(counters.Value("startTime")) + ", up " +
                              UptimeText(counters.Value("uptimeSeconds"))) +
           Row("threads", std::to_string(counters.Value("threads"))) + ClientsText(counters) +
           Row("reloads", std::to_string(counters.Value("reloads.done")) + " done, " +
                              std::to_string(counters.Value("reloads.refused")) + " refused") +
           RequestsText(counters) + RepliesText(counters) + RefusalsText(counters) +
           Row("send failures", std::to_string(counters.Value("sendFailures"))) +
           Row("kernel drops", drops ? std::to_string(*drops) : "not known");
}

// The groups of a name, and its last part: "a.b.c" gives a, b and c.
std::vector<std::string> PartsOf(const std::string& name) {
    std::vector<std::string> parts(1);
    for (const char character : name)
        if (character == '.')
            parts.emplace_back();
        else
            parts.back() += character;
    return parts;
}

std::string StatsJson(const Counters& counters) {
    JsonWriter json;
    json.BeginObject();
    std::vector<std::string> open;
    for (const auto& [name, value] : counters.values) {
        std::vector<std::string> groups = PartsOf(name);
        const std::string last = groups.back();
        groups.pop_back();
        while (open.size() > groups.size() || !std::equal(open.begin(), open.end(), groups.begin())) {
            json.End();
            open.pop_back();
        }
        while (open.size() < groups.size()) {
            json.Key(groups[open.size()]).BeginObject();
            open.push_back(groups[open.size()]);
        }
        json.Key(last).Number(value);
    }
    for (std::size_t i = 0; i <= open.size(); ++i)
        json.End();
    return json.Text() + "\n";
}

constexpr char WatchHead[] = "   requests/s     replies/s    no reply/s  send failures  kernel drops\n";

std::string WatchLine(const Counters& before, const Counters& now, double seconds) {
    const auto rate = [&](const char* group) {
        return static_cast<double>(now.Sum(group) - before.Sum(group)) / seconds;
    };
    char text[128];
    std::snprintf(text, sizeof text, "%13.0f %13.0f %13.0f %14lld %13lld\n", rate("requests"),
                  rate("replies"), rate("refusals"), static_cast<long long>(now.Value("sendFailures")),
                  static_cast<long long>(now.Value("kernelDrops")));
    return text;
}

// Goes on until it is interrupted, the service or the reader of the output has gone, or enough has been said.
int Watch(const StatsArguments& arguments, Counters before, std::chrono::milliseconds patience) {
    using Clock = std::chrono::steady_clock;
    if (!arguments.json && Output(WatchHead) != ExitDone) return ExitFailed;
    Clock::time_point then = Clock::now();
    for (unsigned said = 0; arguments.count == 0 || said < arguments.count; ++said) {
        std::this_thread::sleep_for(std::chrono::duration<double>(arguments.interval));
        DWORD error = ERROR_SUCCESS;
        const auto counters = AskCounters(error, patience);
        if (!counters) return ComplainOfControl("stats", error);
        const Clock::time_point now = Clock::now();
        const double seconds = std::chrono::duration<double>(now - then).count();
        if (Output(arguments.json ? StatsJson(*counters) : WatchLine(before, *counters, seconds)) != ExitDone)
            return ExitFailed;
        before = *counters;
        then = now;
    }
    return ExitDone;
}

int Stats(const StatsArguments& arguments) {
    const std::chrono::milliseconds patience(static_cast<long>(arguments.timeout * 1000));
    DWORD error = ERROR_SUCCESS;
    const auto counters = AskCounters(error, patience);
    if (!counters) return ComplainOfControl("stats", error);
    if (arguments.watch) return Watch(arguments, *counters, patience);
    return Output(arguments.json ? StatsJson(*counters) : StatsText(*counters));
}

}  // namespace

void AddStatsCommand(CLI::App& app, std::function<int()>& run) {
    CLI::App* command = app.add_subcommand("stats", "Show what the running service has counted");
    const auto arguments = std::make_shared<StatsArguments>();
    command->add_flag("--json", arguments->json, "show all counters as JSON");
    command->add_flag("--watch", arguments->watch, "show the rates, a line each time");
    command->add_option("--interval", arguments->interval, "seconds between two lines")
        ->check(CLI::Range(0.01, 86400.0))
        ->capture_default_str();
    command->add_option("--count", arguments->count, "end after so many lines; 0: go on")
        ->capture_default_str();
    command->add_option("--timeout", arguments->timeout, "seconds to wait for the service")
        ->check(CLI::Range(0.001, 86400.0))
        ->capture_default_str();
    command->footer(
        "The counters begin with the service and go on over reloads. Only root and the user that the "
        "service\n"
        "runs as may ask.\n"
        "\n"
        "Exit status: 0 shown, 1 the service tells nothing now, 2 wrong usage or a failure on this side, 3 "
        "the\n"
        "service isn't running or doesn't answer.\n"
        "\n"
        "Examples:\n"
        "  quillonctl stats\n"
        "  quillonctl stats --json --watch --interval 10");
    command->callback([arguments, &run] { run = [arguments] { return Stats(*arguments); }; });
}

}  // namespace quillonctl
