// The one way in which a parameter record comes about: from the registry and the database, at the start and
// at a reload.
#pragma once

#include "service/server_parameters.h"

// Bytes of cache built since the process began; a reload adds to it. Only the loading thread touches it.
extern DWORD TotalCacheBytes;

// Results; the start passes them on as the service-specific exit code.
enum LoadResult : DWORD {
    LoadOk = 0,
    LoadRegistryFailed = 1,
    LoadLogPathFailed = 3,
    LoadLogFailed = 4,
    LoadHeapFailed = 5,
    LoadCatalogueReleaseFailed = 6,
    LoadCatalogueNoMemory = 7,
    LoadReaderNoMemory = 8,
    LoadCatalogueCorrupt = 9,
    LoadReaderReleaseFailed = 10,
    LoadDatabaseMissing = 11,
    LoadCatalogueFailed = 12,
    LoadListNoMemory = 13,
    LoadListCorrupt = 14,
    LoadListReleaseFailed = 15,
    LoadListFailed = 16,
    LoadHelperMissing = 17,
    LoadHelperEntryMissing = 18,
    LoadInterrupted = 19,  // by a stop: no failure, and no exit code of the service
};

// Fills `record`, which is zeroed or carries the log's handles (they are closed) and the ARP helper (it is
// kept). Every failure but an interruption has been reported by an event when this returns; what the record
// then holds is the caller's to release.
LoadResult LoadParameters(ServerParameters* record);

// Whether a system of this version can't send directed replies and has to broadcast.
bool IsBroadcastOnlySystem(DWORD major, DWORD minor, const char* servicePack);
