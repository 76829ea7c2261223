// What a reload has made of the clients of this home, as its service tells.
#pragma once

#include <optional>

#include "quillonctl/report/service_facts.h"

namespace quillonctl {

// To be made before the reload is asked for.
class ReloadEffect {
  public:
    ReloadEffect();

    // The counters once the reload has taken effect, which is shortly after its acknowledgement. Nothing if
    // the service can't be asked, or it was another one that reloaded.
    std::optional<Counters> Await() const;

  private:
    std::optional<Counters> before_;
};

}  // namespace quillonctl
