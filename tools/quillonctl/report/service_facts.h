// What the running service of this home tells about itself, taken apart.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/instance/control_client.h"

namespace quillonctl {

// A client of the database. `time`, in seconds since 1970, is that of its last answer; 0 if it got none since
// the start of the service, and `reply` and `route` are empty then.
struct KnownClient {
    std::string hardwareAddress;
    std::string address;
    std::int64_t time = 0;
    std::string reply;
    std::string route;
};

struct UnansweredClient {
    std::string hardwareAddress;
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::int64_t count = 0;
    std::string request;
    std::string relay;  // 0.0.0.0 if it asked by itself
    std::string local;  // address of the interface
    std::string refusal;
};

// Of one hardware address there may be one of each, each the latest.
struct ClientFacts {
    std::vector<KnownClient> known;
    std::vector<UnansweredClient> unanswered;
};

// The counters by name, in the service's order; dots in a name lead into a group.
struct Counters {
    std::vector<std::pair<std::string, std::int64_t>> values;

    std::optional<std::int64_t> Find(const std::string& name) const;
    std::int64_t Value(const std::string& name) const { return Find(name).value_or(0); }
    std::int64_t Sum(const std::string& group) const;
};

// Both ask by the control socket; nothing on failure, with `error` as AskReport has it. Lines that make no
// sense are left out.
std::optional<Counters> AskCounters(DWORD& error, std::chrono::milliseconds patience = ControlPatience);
std::optional<ClientFacts> AskClients(ServiceReport report, const std::string& about, DWORD& error,
                                      std::chrono::milliseconds patience = ControlPatience);

// The trace's words for a refusal; the name itself for one that isn't known.
std::string RefusalText(const std::string& name);

// A time in seconds since 1970, here.
std::string LocalTimeText(std::int64_t time);

}  // namespace quillonctl
