// The registry on disk: read whole, edited by one writer at a time. Within the layer only.
#pragma once

#include <functional>
#include <memory>

#include "platform/linux/registry/registry_document.h"

using RegistryRef = std::shared_ptr<const RegistryDocument>;

// All return 0 or an error number, and may be called from any thread. A file that can't be understood gives
// ERROR_REGISTRY_CORRUPT, and one event that names file and line. A file that isn't there is an empty
// registry.

// Reads the file and makes it the content that CurrentRegistry gives.
LONG RefreshRegistry(RegistryRef& content);

// The content as this process has read or written it last; reads the file if it never has.
LONG CurrentRegistry(RegistryRef& content);

// Reads the file, lets `edit` change the content, and puts it on disk if `edit` returns 0 and says that
// something changed. Writers of all processes are kept apart for that time. A crash at any moment leaves the
// old or the new file.
using RegistryEdit = std::function<LONG(RegistryDocument& content, bool& hasChanged)>;
LONG EditRegistry(const RegistryEdit& edit);
