#include "quillonctl/explain/last_seen.h"

#include "platform/linux/events/system_text.h"
#include "quillonctl/report/service_facts.h"

namespace quillonctl {
namespace {

std::string AnswerText(const KnownClient& client) {
    return LocalTimeText(client.time) + ": " + client.reply + ", " + client.route;
}

std::string SilenceText(const UnansweredClient& client) {
    const std::string relay = client.relay == "0.0.0.0" ? "" : " by relay agent " + client.relay;
    return LocalTimeText(client.last) + ": " + client.request + relay + " at " + client.local + ": " +
           RefusalText(client.refusal) + " (" + std::to_string(client.count) + " since " +
           LocalTimeText(client.first) + ")";
}

std::string FailureText(DWORD error) {
    return error == ERROR_SERVICE_NOT_ACTIVE ? "it doesn't run: all of this is from the files alone"
                                             : "it can't be asked: " + SystemText(error);
}

}  // namespace

std::vector<std::pair<std::string, std::string>> LastSeen(const std::string& hardwareAddress) {
    DWORD error = ERROR_SUCCESS;
    const auto facts = AskClients(ServiceReport::Client, hardwareAddress, error);
    if (!facts) return {{"service", FailureText(error)}};
    std::vector<std::pair<std::string, std::string>> lines;
    for (const KnownClient& client : facts->known)
        if (client.time != 0) lines.emplace_back("last answer", AnswerText(client));
    for (const UnansweredClient& client : facts->unanswered)
        lines.emplace_back("last silence", SilenceText(client));
    if (lines.empty()) lines.emplace_back("nothing", "as far as it remembers; see quillonctl stats");
    return lines;
}

}  // namespace quillonctl
