// The address of the control socket.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <optional>
#include <string>

// Nothing if the path is longer than the address of a local socket can hold.
inline std::optional<sockaddr_un> LocalSocketAddress(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return std::nullopt;
    path.copy(address.sun_path, path.size());
    return address;
}
