// The closed loop: a fixed number of requests is under way, and each reply is followed by the next request.
#pragma once

#include <sys/types.h>

#include <chrono>

#include "load_result.h"
#include "load_socket.h"

namespace bench {

struct LoopSettings {
    RequestForm form;
    Endpoint relay, server;
    Server kind = Server::Service;
    std::uint32_t clients = 1000;  // random ones of so many
    std::uint64_t seed = 1;
    std::uint32_t outstanding = 64;       // 1 to 4096
    std::uint32_t hostilePerRequest = 0;  // datagrams with an impossible hlen ahead of each request
    std::chrono::milliseconds warmUp{200};
    std::chrono::milliseconds measured{1500};
    std::chrono::milliseconds patience{2000};  // after which a request counts as lost
    pid_t serverProcess = 0;                   // whose CPU time is taken; 0: no one's
};

inline constexpr std::uint32_t MostOutstanding = 4096;

// Blocks for warmUp + measured, and for what is still under way after that. Throws std::system_error.
LoadResult RunClosedLoop(const LoopSettings& settings);

}  // namespace bench
