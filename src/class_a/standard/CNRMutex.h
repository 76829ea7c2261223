#pragma once

#include <ace/Mutex.h>

namespace ksl {

// A mutex of the system. A thread must not acquire one that it holds already. If the system can't make one,
// that goes to ACE's log and nothing is thrown.
class CNRMutex : public ACE_Mutex {
  public:
    CNRMutex();
    CNRMutex(const CNRMutex&) = delete;
    CNRMutex& operator=(const CNRMutex&) = delete;
    virtual ~CNRMutex();

    void acquire();
    void release();
};

}  // namespace ksl
