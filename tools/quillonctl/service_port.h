// Where the service listens.
#pragma once

#include <cstdint>

namespace quillonctl {

// The port of the service "bootp": in the home's services file, in the system's, or 67.
std::uint16_t ServicePort();

}  // namespace quillonctl
