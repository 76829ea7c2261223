#include "platform/linux/manager/report_server.h"

#include <atomic>
#include <cstring>

#include "platform/service_report.h"

namespace {

std::atomic<ReportProvider> Provider{nullptr};

std::string Message(const ReportReply& head, const char* text) {
    std::string message(reinterpret_cast<const char*>(&head), sizeof head);
    return message.append(text, head.length);
}

}  // namespace

void SetReportProvider(ReportProvider provider) {
    Provider = provider;
}

std::string ReportRefusal(DWORD error) {
    return Message({.error = error}, "");
}

std::string ReportPageFor(const ReportRequest& request) {
    const ReportProvider provider = Provider.load();
    if (provider == nullptr) return ReportRefusal(ERROR_SERVICE_CANNOT_ACCEPT_CTRL);
    char about[sizeof request.about + 1] = {};
    std::memcpy(about, request.about, sizeof request.about);
    char text[ReportPageSize];
    ReportPage page = {.text = text, .room = sizeof text, .length = 0, .next = 0, .edition = 0};
    if (!provider({static_cast<ServiceReport>(request.report), request.from, about}, &page))
        return ReportRefusal(ERROR_INVALID_PARAMETER);
    return Message(
        {.next = page.next, .edition = page.edition, .length = static_cast<std::uint32_t>(page.length)},
        text);
}
