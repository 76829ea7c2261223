// The signals that a service takes: SIGTERM and SIGINT stop it, SIGHUP has it read its files anew. Within the
// layer.
#pragma once

#include <signal.h>

#include <chrono>

#include "platform/linux/system/descriptor.h"

// Blocks them in the calling thread and in all that it starts from here on, so that none of them ends the
// process in the middle of its tear-down, and returns their set.
sigset_t BlockServiceSignals();

// The request for a reload that the process makes of itself: the datagram that an operator's command sends,
// to an address where the service listens. One thread owns it.
class OwnReload {
  public:
    static constexpr std::chrono::milliseconds RetryPause{250};

    void Ask() { isAsked_ = true; }
    bool IsAsked() const { return isAsked_; }

    // Sends what has been asked for. To be called again after RetryPause while IsAsked(): a service that is
    // starting has no socket yet.
    void SendIfAsked();

  private:
    bool isAsked_ = false;
    Descriptor socket_;  // kept open, so that the service's answer finds somebody
};
