// One question and its answer over UDP.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "quillonctl/message_decoder.h"

namespace quillonctl {

struct Route {
    IpAddress server{{255, 255, 255, 255}};
    std::uint16_t serverPort = 67;
    std::optional<IpAddress>
        local;  // the address to send from; replies to the limited broadcast address get in as well
    std::string interface;         // the only interface to send and to receive by
    std::uint16_t localPort = 0;   // 0: any that is free
    bool onlyServer = false;       // hear no one but the server asked, and notice if no one listens there
    bool anyPortIfDenied = false;  // take a free port if this user may not have `localPort`
};

struct Reply {
    std::vector<std::uint8_t> bytes;
    std::string from;  // "ADDRESS:PORT"
};

enum class ExchangeResult : std::uint8_t {
    Replied,
    NoReply,
    NoListener,  // the server's machine says that its port is closed
    Failed
};

// Sends `request` and waits for the first datagram that `isOurs` accepts, dropping all others. On `Failed`
// `error` tells what went wrong. `notice`, if not empty afterwards, is worth telling whatever the result.
ExchangeResult Exchange(const Route& route, Bytes request, std::chrono::milliseconds timeout,
                        const std::function<bool(Bytes)>& isOurs, Reply& reply, std::string& error,
                        std::string& notice);

}  // namespace quillonctl
