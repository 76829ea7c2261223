// Within the layer only.
#pragma once

#include <string>

// The path of the running program; empty if the system doesn't tell. Throws std::bad_alloc.
std::string ExecutablePath();
