// Where a suspended thread stops. Within the layer only.
#pragma once

// Called by every waiting operation of the layer before it blocks and again before it returns, with no lock
// of the layer held. While the calling thread's suspend count isn't 0 it doesn't return. Costs one load
// otherwise.
void FreezeWhileSuspended();

// Whether the calling thread would freeze now.
bool IsSuspended();
