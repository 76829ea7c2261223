// The datagrams of the load and the check of what comes back. They are made here, byte by byte, and not with
// the service's own code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "sample_clients.h"

namespace bench {

enum class RequestKind { Bootp, Discover };
enum class Server { Service, Echo };

inline constexpr std::size_t RequestSize = 300;

struct Datagram {
    std::uint8_t bytes[RequestSize];
};

// What all requests of a run have in common.
struct RequestForm {
    RequestKind kind = RequestKind::Discover;
    std::uint8_t hardwareLength = 6;
    NetworkAddress relay = {};
};

// A request by a relay, for the client. The transaction number comes back with the reply.
void MakeRequest(const RequestForm& form, std::uint32_t client, std::uint32_t transaction, Datagram* request);

// The transaction number of a whole reply; none if the bytes are no reply of that kind of server.
std::optional<std::uint32_t> TransactionOf(Server server, RequestKind kind, const std::uint8_t* bytes,
                                           std::size_t length);

// Whether the reply is for this client: its hardware address and, from the service, its own network address.
bool IsReplyFor(Server server, std::uint32_t client, const std::uint8_t* bytes);

}  // namespace bench
