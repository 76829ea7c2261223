// A home with what a service finds in it: registry, database and events.
#pragma once

#include "platform/test_home.h"

class TemporaryHome : public TestHome {
  public:
    // Writes registry.reg as an install leaves it, with the sample database and the log in this folder. Each
    // change is a line such as "\"CacheSize\"=dword:00000002" and takes the place of the value of that name;
    // a line that is only the quoted name takes the value out.
    void WriteRegistry(const std::vector<std::string>& changes = {}) const;

    // A bootptab with one client, 00-a0-24-12-34-56.
    void WriteDatabase() const;

    // A port that nothing on the loopback interface uses, for the service.
    void WriteFreePort() const;

    // The numbers of the events in events.log, in their order.
    std::vector<std::string> EventNumbers() const;
};
