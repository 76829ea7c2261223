// Where an instance lives. Within the layer only.
//
// With QUILLON_HOME set all places lie in that directory; a relative one counts from the directory in which
// the process started. Without it they lie where the system keeps such things. Any thread may ask, and no
// answer is kept: a test may change the variable between calls.
#pragma once

#include <string>

enum class HomePlace {
    Folder,         // the working directory of a service: QUILLON_HOME or /var/lib/quillon
    Registry,       // registry.reg: there, or in /etc/quillon
    Services,       // services: in the folder
    EventLog,       // events.log: in the folder; asked for only with a home of its own
    ControlSocket,  // control: there, or in /run/quillon
    UnitFolder      // systemd: there, or /etc/systemd/system
};

bool HasOwnHome();
std::string PathOf(HomePlace place);

// A path out of the registry or from a caller: backslashes become slashes. Null gives an empty text.
std::string NativePath(const char* path);
