#pragma once

// in_addr, in6_addr and the address families, as the platform defines them.
#include <netinet/in.h>
#include <sys/socket.h>
