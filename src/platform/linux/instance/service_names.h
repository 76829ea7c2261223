// The numbers of named services, in the form of the system's file: a name, port and protocol, aliases, and
// remarks after a number sign. Within the layer.
#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct ServiceName {
    std::string name;
    std::uint16_t port = 0;  // host byte order
    std::string protocol;
    std::vector<std::string> aliases;
};

// What one line names; nothing if it is empty, a remark or can't be read.
std::optional<ServiceName> ParseServiceLine(std::string_view line);

// The first line whose name or alias is `name`, in its own case, for `protocol`; an empty protocol is any.
std::optional<ServiceName> FindServiceName(std::istream& lines, std::string_view name,
                                           std::string_view protocol);

// In the home's file, or else in what the system knows.
std::optional<ServiceName> LookUpServiceName(const std::string& name, const std::string& protocol);
