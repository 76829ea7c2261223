// Datagrams that the system threw away before the service could read them.
#pragma once

#include <cstdint>

#include "platform/windows_api.h"

// Adds those that were meant for the socket since it was opened, mostly for lack of room in its receive
// buffer. False if the system doesn't tell, or the socket is closed.
bool AddReceiveDrops(SOCKET socket, std::uint64_t* drops);
