// The way to the service manager: the notification socket that NOTIFY_SOCKET names. Within the layer.
#pragma once

#include <string>

#include "platform/linux/system/descriptor.h"

class NotifySocket {
  public:
    // False if no manager started this process, or no one listens at its socket.
    bool Open();

    // Sends a notification, unless the manager has left so many unread that there is no room for it within a
    // second. False if it could not be sent. One thread at a time.
    bool Notify(const std::string& notification);

  private:
    Descriptor probe_;        // connected; nothing is sent through it
    bool isClogged_ = false;  // there was no room the last time: waiting again would only hold up the service
};
