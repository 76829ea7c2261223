// The registry's parameters: what a load makes of them.
#pragma once

#include <string>

#include "quillonctl/check/finding.h"
#include "service/server_parameters.h"

namespace quillonctl {

// Reads the parameters of the instance into `record`, with their limits applied, and reports what is wrong
// with them. False if a load fails at once; a finding says why.
bool CheckRegistry(ServerParameters* record, Findings* findings);

// The same without a word; where there is no registry, or not a whole one, the install values serve.
ServerParameters SettingsOrInstalled();

// Whether a load finds a heap for as many clients: one that starts at 2 GiB is refused.
bool IsHeapPossible(DWORD cacheSize);

// Line and file of a parameter, for a finding about it.
struct RegistryPlace {
    std::string file;
    int line;
};
RegistryPlace PlaceOfParameter(const char* name);

}  // namespace quillonctl
