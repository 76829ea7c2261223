#include "quillonctl/report/service_facts.h"

#include <algorithm>
#include <ctime>
#include <map>
#include <sstream>

#include "diagnostics/outcome.h"
#include "platform/linux/instance/home.h"

namespace quillonctl {
namespace {

template <class Client>
void KeepLatest(std::map<std::string, Client>& clients, Client client, std::int64_t Client::*time) {
    const auto [at, isNew] = clients.try_emplace(client.hardwareAddress, client);
    if (!isNew && client.*time >= at->second.*time) at->second = std::move(client);
}

template <class Client>
std::vector<Client> ValuesOf(std::map<std::string, Client>&& clients) {
    std::vector<Client> values;
    values.reserve(clients.size());
    for (auto& entry : clients)
        values.push_back(std::move(entry.second));
    return values;
}

}  // namespace

std::optional<std::int64_t> Counters::Find(const std::string& name) const {
    const auto at = std::ranges::find(values, name, &std::pair<std::string, std::int64_t>::first);
    if (at == values.end()) return std::nullopt;
    return at->second;
}

std::int64_t Counters::Sum(const std::string& group) const {
    std::int64_t sum = 0;
    for (const auto& [name, value] : values)
        if (name.starts_with(group + ".")) sum += value;
    return sum;
}

std::optional<Counters> AskCounters(DWORD& error, std::chrono::milliseconds patience) {
    const auto text =
        AskReport(PathOf(HomePlace::ControlSocket), ServiceReport::Counters, "", error, patience);
    if (!text) return std::nullopt;
    Counters counters;
    std::istringstream lines(*text);
    std::string name;
    for (std::int64_t value = 0; lines >> name >> value;)
        counters.values.emplace_back(name, value);
    return counters;
}

std::optional<ClientFacts> AskClients(ServiceReport report, const std::string& about, DWORD& error,
                                      std::chrono::milliseconds patience) {
    const auto text = AskReport(PathOf(HomePlace::ControlSocket), report, about, error, patience);
    if (!text) return std::nullopt;
    std::map<std::string, KnownClient> known;
    std::map<std::string, UnansweredClient> unanswered;
    std::istringstream lines(*text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string word;
        KnownClient client;
        UnansweredClient silent;
        words >> word;
        if (word == "unanswered") {
            if (words >> silent.hardwareAddress >> silent.first >> silent.last >> silent.count >>
                silent.request >> silent.relay >> silent.local >> silent.refusal)
                KeepLatest(unanswered, std::move(silent), &UnansweredClient::last);
        } else if (words >> client.hardwareAddress >> client.address) {
            if (word == "silent" || words >> client.time >> client.reply >> client.route)
                KeepLatest(known, std::move(client), &KnownClient::time);
        }
    }
    return ClientFacts{ValuesOf(std::move(known)), ValuesOf(std::move(unanswered))};
}

std::string RefusalText(const std::string& name) {
    const auto at = std::ranges::find(RefusalNames, name);
    return at == std::end(RefusalNames) ? name : RefusalTexts[at - std::begin(RefusalNames)];
}

std::string LocalTimeText(std::int64_t time) {
    const auto seconds = static_cast<std::time_t>(time);
    std::tm local{};
    char text[32];
    ::localtime_r(&seconds, &local);
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return text;
}

}  // namespace quillonctl
