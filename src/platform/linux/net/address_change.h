// The news that the table of IPv4 addresses has changed: one subscription and one small thread for the whole
// process, from the first arming on. Within the layer; any thread may call.
#pragma once

#include "platform/linux/faces/types.h"

// Signals the event once, at the next address that comes or goes. If one did since the table was last read,
// the event is signalled at once: whoever reads the table and then arms misses nothing. 0, or a number of
// errno.
int SignalNextAddressChange(HANDLE event);

// To be called before the table is read: what changed up to now needs no notice.
void NoteTableIsRead();
