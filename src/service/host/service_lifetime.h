// The head and the tail of the service: from nothing to bound sockets, and back.
#pragma once

#include "request/interfaces.h"

// Loads, makes the pool's mutexes, starts Windows Sockets and the ARP-expiry thread, and binds. False if the
// service can't run, or was stopped meanwhile: that is reported, and the caller goes on with the tear-down.
// To be called once.
bool BringUpService(AddressWatch* watch);

// Ends the service: lets go of client list and heap, closes sockets, mutexes and log, reports, and sets
// StopEvent. The first caller does it; for every other the call does nothing.
void TearDownService();
