// The client list: the clients whose replies were built when the database was loaded.
#pragma once

#include <atomic>

#include "database/client_entry.h"

// Set by a stop: every load of the process ends before its next client.
extern std::atomic<bool> LoadsInterrupted;

// Whether a section is no client's: its name begins, to the letter, with that of a special section.
bool IsSpecialSection(const char* name);

// Whether a section is one of the two sample clients, of which no machine has the address.
bool IsExempt(const char* name);

// Builds the list of the file's clients in file order, with their mutexes, and its index. All blocks are
// `heap`'s; the mutexes are the caller's to close, also after a failure. `total` is raised by the size of
// each block.
//
// `cacheSize` counts down by one for each client, but for the two sample clients, and the load stops when it
// gets to 0; 0xFFFFFFFF is not counted, and is where a start at 0 leads. `report` is called with the name of
// each section that can't be used. Returns
//   DatabaseOk        the list is built
//   MutexNotCreated
//   OutOfMemory       for the section names, the index or reading the file
//   DatabaseCorrupt   no usable client, or a section that is none and has no hyphen
//   BlockNotReleased
//   LoadAborted       interrupted
DWORD LoadClientDatabase(DWORD terminateStrings, HANDLE heap, const char* path, DWORD* total,
                         ClientEntry** listHead, DWORD* cacheSize, const OptionDefinition* catalogue,
                         int (*report)(const char* sectionName));
