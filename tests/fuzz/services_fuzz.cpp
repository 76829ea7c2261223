// The services file of any bytes.
#include <sstream>

#include "class_a/fuzz/expect.h"
#include "platform/linux/instance/service_names.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::istringstream lines(text);
    if (const auto found = FindServiceName(lines, "bootp", "udp")) {
        expect(found->protocol == "udp", "the protocol is the one asked for");
        expect(text.find("bootp") != std::string::npos, "the name stands in the file");
    }
    std::istringstream again(text);
    for (std::string line; std::getline(again, line);) {
        const auto service = ParseServiceLine(line);
        if (!service) continue;
        expect(!service->name.empty() && !service->protocol.empty(), "a service has a name and a protocol");
        std::string written = service->name + "\t" + std::to_string(service->port) + "/" + service->protocol;
        for (const std::string& alias : service->aliases)
            written += " " + alias;
        const auto read = ParseServiceLine(written);
        expect(read && read->name == service->name && read->port == service->port &&
                   read->protocol == service->protocol && read->aliases == service->aliases,
               "what is read can be written and read again");
    }
    return 0;
}
