// A client's address against the subnet that its entry gives it.
#pragma once

#include <string>
#include <vector>

#include "database/client_entry.h"

namespace quillonctl {

// What doesn't go together among address, subnet mask and gateways of the entry.
std::vector<std::string> SubnetFaults(const ClientEntry& entry);

}  // namespace quillonctl
