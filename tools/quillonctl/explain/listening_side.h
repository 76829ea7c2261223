// The addresses that the service listens on, and which of them answers a client.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "request/boot_packet.h"
#include "service/server_parameters.h"

namespace quillonctl {

// There is one at a time: the service's own code, which chooses, knows one set of addresses.
class ListeningSide {
  public:
    // `interface` is the name of one, or a local address: by which the request comes. Throws
    // std::runtime_error if the service doesn't listen there.
    ListeningSide(const ServerParameters& record, const std::string& interface);
    ~ListeningSide();
    ListeningSide(const ListeningSide&) = delete;
    ListeningSide& operator=(const ListeningSide&) = delete;

    // Nothing if no interface was named and there are several.
    std::optional<IpAddress> Heard() const { return heard_; }

    // The address that the finished reply is left to, if that isn't the one by which the request came.
    std::optional<IpAddress> BetterFor(const BootPacket* reply, LONG length) const;

  private:
    std::optional<IpAddress> heard_;
    DWORD index_ = 0;
};

}  // namespace quillonctl
