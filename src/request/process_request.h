// The road of one request: from a received datagram to its reply and its trace.
#pragma once

#include "request/request_context.h"

// Decides whether the datagram deserves a reply, turns it into one in place, delivers it, writes its trace
// and frees its block. Ownership of the packet passes to this call. Any number of threads may be in it at
// once, each with a datagram of its own.
void ProcessBootRequest(const RequestContext* context);
