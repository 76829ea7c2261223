// Generations: a parameter record and all that hangs on it, alive as long as somebody uses it.
//
// A load builds a record with a heap, a client list, a catalogue, a log file and its mutex. Installed, it
// becomes the current generation, which never changes any more. A request pins the current one for its
// length; a reload installs the next one and lets go of the old. Whoever lets go last releases it, so no one
// waits for anybody's end, and no one touches what has gone. Every function may be called from any thread.
#pragma once

#include "service/server_parameters.h"

struct Generation;

// A generation that owns all that hangs on `record`, with one use; sets record->Owner. Null if there is no
// memory: the record is the caller's as before.
Generation* MakeGeneration(ServerParameters* record);

// Makes `generation` the current one and its record the live record. Returns the generation before it, with
// the use that being current was; null at the start.
Generation* InstallGeneration(Generation* generation);

// Takes the current generation away, for the stop; null if there is none.
Generation* UninstallGeneration();

// A use of a generation. Each must be let go of once; the last one releases the generation and all that hangs
// on it.
Generation* PinCurrentGeneration();  // null when none is installed
Generation* PinAsListener();         // for the owner of the listening role, who alone installs: needs no lock
void ReleaseGeneration(Generation* generation);
const ServerParameters& RecordOf(const Generation* generation);
DWORD NumberOf(const Generation* generation);  // how many there have been, with it

// Waits until every generation has been released; false if some are still in use after `milliseconds`.
bool WaitForGenerations(DWORD milliseconds);

// Releases what hangs on a record that was never installed, or of a generation that no one uses any more: the
// entries' mutexes, the heap, the log file and its mutex. The helper library stays loaded.
void ReleaseParameters(ServerParameters* record);

// A second handle of the same object, so that the first may be closed; null for null.
HANDLE DuplicateOwnHandle(HANDLE handle);

// The current generation for the length of a scope.
class PinnedGeneration {
  public:
    // `held` is a generation that the caller has a use of for longer than this scope, or null: if it is the
    // current one, that use serves.
    explicit PinnedGeneration(Generation* held);
    ~PinnedGeneration();
    PinnedGeneration(const PinnedGeneration&) = delete;
    PinnedGeneration& operator=(const PinnedGeneration&) = delete;

    explicit operator bool() const { return generation_ != nullptr; }  // false when none is installed
    const ServerParameters& record() const { return RecordOf(generation_); }

  private:
    Generation* generation_;
    bool counted_;  // a use of its own
};
