// What the running service has seen of a client.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace quillonctl {

// Lines for the screen, each with what it is about. Without a service that answers, one that says so.
std::vector<std::pair<std::string, std::string>> LastSeen(const std::string& hardwareAddress);

}  // namespace quillonctl
