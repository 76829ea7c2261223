// The INI files that were read last, each parsed once per content. Within the layer only.
#pragma once

#include <memory>

#include "platform/linux/ini/parsed_ini.h"

// The content that the file has now. Null if it can't be read, and the last error says why: 2 or 3 for a file
// that isn't there, 5 for one that may not be read, 8 if memory doesn't suffice.
//
// Each call looks at the file, so an edit that was complete before the call is in the answer. The content
// stays as it is for as long as the caller holds it. Any thread may call.
std::shared_ptr<const ParsedIni> OpenIni(const char* path);
