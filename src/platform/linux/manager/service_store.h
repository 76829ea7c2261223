// Where installed services are kept: the service key in the registry, as on Windows, and the unit of systemd.
// Within the layer.
#pragma once

#include <string>

#include "platform/linux/faces/types.h"

struct ServiceRecord {
    std::string name;
    std::string displayName;
    std::string imagePath;
    DWORD type = 0;
    DWORD start = 0;
    DWORD errorControl = 0;
};

// Names compare without case. All return 0 or an error number.

// ERROR_SERVICE_EXISTS if there is one of that name, ERROR_INVALID_NAME for a name or a path that can't be
// kept. On failure nothing of the service is left.
DWORD StoreService(const ServiceRecord& service);

// ERROR_SERVICE_DOES_NOT_EXIST if there is none.
DWORD FindService(const std::string& name);

// Takes the unit and the service's own values away, and the key unless it has subkeys: Parameters stays.
DWORD EraseService(const std::string& name);
