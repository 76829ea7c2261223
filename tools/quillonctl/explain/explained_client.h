// One client as the files have it: where it stands, what it would get, and which way that would go.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "request/boot_packet.h"

namespace quillonctl {

struct ExplainQuestion {
    std::vector<std::uint8_t> hardwareAddress;  // one to sixteen bytes
    std::uint8_t hardwareType = 1;
    std::optional<IpAddress> relay;  // the agent that hands the request on; none: the client asks by itself
    std::string interface;           // by which it comes: a name or a local address; empty: any
};

struct ExplainedClient {
    std::string text;        // one screen of lines
    bool getsReply = false;  // in BOOTP and in DHCP
};

// From the registry and the bootptab of the instance. Throws std::runtime_error if bootptab can't be read, or
// the service doesn't listen on the interface.
ExplainedClient ExplainClient(const ExplainQuestion& question);

}  // namespace quillonctl
