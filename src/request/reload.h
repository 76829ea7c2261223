// The reload: a datagram makes the service read its parameters and its database anew while it runs.
#pragma once

#include "request/request_context.h"

struct Generation;
struct ServerParameters;

// Whether the block of a datagram holds "RELOAD REQ" and a NUL; the zero-filled block gives a datagram of ten
// bytes its NUL.
bool IsReloadRequest(const BootPacket* packet);

// Whether the sender may ask for a reload, by ReloadSources of `record`. One who may not has sent a datagram
// like any other.
bool MayReload(const ServerParameters& record, const sockaddr_in& sender);

// Loads a new generation, answers the sender and installs it, or leaves everything as it was; frees the
// datagram's block. The caller holds ListenerMutex, so reception stands still; requests that are under way go
// on undisturbed. Returns the generation that was replaced, for LeaveFormerGeneration; null if none was.
[[nodiscard]] Generation* ReloadParameters(RequestContext* context);

// Lets go of a generation that was replaced, after the clients' last answers have been taken over from it. To
// be called without ListenerMutex, since it looks at every client. Null is fine.
void LeaveFormerGeneration(Generation* former);
