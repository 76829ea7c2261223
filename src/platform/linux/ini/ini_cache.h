// The INI files that were read last, each parsed once per content. Within the layer only.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/linux/ini/parsed_ini.h"

// When the look at a file has to be taken: not before the fetch of datagrams with this number (see
// fetch_count.h), or now.
using LookTime = std::uint64_t;
inline constexpr LookTime Now = ~LookTime{0};

// The content that the file has now, or had at an earlier look that isn't too early. Null if it can't be
// read, and the last error says why: 2 or 3 for a file that isn't there, 5 for one that may not be read, 8 if
// memory doesn't suffice.
//
// A call for Now looks at the file, so an edit that was complete before the call is in the answer. The
// content stays as it is for as long as the caller holds it. Any thread may call.
std::shared_ptr<const ParsedIni> OpenIni(const char* path, LookTime since = Now);
