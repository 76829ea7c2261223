// The section "Options" of bootptab: each row a tag, a comma and a type word.
#pragma once

#include "quillonctl/check/bootptab_lines.h"
#include "quillonctl/check/finding.h"

namespace quillonctl {

void CheckOptionsSection(const BootptabLines& file, Findings* findings);

}  // namespace quillonctl
