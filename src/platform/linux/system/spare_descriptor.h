// A descriptor that is kept for the moment when no other is left. Within the layer only; one thread at a
// time.
#pragma once

#include <fcntl.h>

#include <cerrno>

#include "platform/linux/system/descriptor.h"

class SpareDescriptor {
  public:
    // Takes one if there is none. To be called ahead of Use, and again when what Use gave has been closed.
    void Refill() {
        if (!spare_) spare_.Reset(open("/dev/null", O_RDONLY | O_CLOEXEC));
    }

    // What `attempt` opens, with the spare one given up for it if there is no other. errno as `attempt` left
    // it.
    template <class Attempt>
    Descriptor Use(Attempt attempt) {
        Descriptor opened = attempt();
        if (opened || (errno != EMFILE && errno != ENFILE) || !spare_) return opened;
        spare_.Reset();
        return attempt();
    }

  private:
    Descriptor spare_;
};
