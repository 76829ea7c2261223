// The reload: a datagram makes the service read its parameters and its database anew while it runs.
#pragma once

#include "request/request_context.h"

// Whether the block of a datagram holds "RELOAD REQ" and a NUL; the zero-filled block gives a datagram of ten
// bytes its NUL.
bool IsReloadRequest(const BootPacket* packet);

// Loads a new generation, answers the sender and installs it, or leaves everything as it was; frees the
// datagram's block. The caller holds ListenerMutex, so reception stands still; requests that are under way go
// on undisturbed.
void ReloadParameters(RequestContext* context);
