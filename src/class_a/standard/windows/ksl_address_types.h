#pragma once

// in_addr, in6_addr and the address families, as the platform defines them.
#include <winsock2.h>
#include <ws2tcpip.h>
