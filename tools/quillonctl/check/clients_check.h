// The clients and templates of bootptab.
#pragma once

#include "quillonctl/check/bootptab_lines.h"
#include "quillonctl/check/finding.h"
#include "quillonctl/check/loaded_database.h"

namespace quillonctl {

// `everything` is loaded without limit; `record` is what the service is configured with, and `isRefused` says
// whether a load with that fails.
void CheckClients(const BootptabLines& file, const LoadedDatabase& everything, const ServerParameters& record,
                  bool isRefused, Findings* findings);

}  // namespace quillonctl
