// The head and the tail of the service: from nothing to bound sockets, and back.
#pragma once

#include "platform/windows_api.h"

// The subscription to address changes, of the first daemon thread alone.
struct AddressWatch {
    OVERLAPPED overlapped;
    HANDLE handle;
};

// Loads, makes the pool's mutexes, starts Windows Sockets and the ARP-expiry thread, and binds. False if the
// service can't run, or was stopped meanwhile: that is reported, and the caller goes on with the tear-down.
// To be called once.
bool StartService(AddressWatch* watch);

// Ends the service: lets go of client list and heap, closes sockets, mutexes and log, reports, and sets
// StopEvent. The first caller does it; for every other the call does nothing.
void TearDownService();

// Whether a tear-down has begun: whoever waited for a mutex of the pool has to end, whatever the wait
// answered.
bool IsServiceEnding();
