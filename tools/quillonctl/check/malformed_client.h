// Why a load can't use a client's section.
#pragma once

#include <string>

#include "quillonctl/check/bootptab_lines.h"
#include "quillonctl/check/section_check.h"
#include "service/server_parameters.h"

namespace quillonctl {

// Encodes the keys one by one, as the building of an entry does, and tells which of them ends it.
std::string WhyMalformed(const BootptabLines& file, const SectionCheck& rows, const ServerParameters& record,
                         const CheckedSection& section);

}  // namespace quillonctl
