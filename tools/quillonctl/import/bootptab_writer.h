// Writes an import as a bootptab.
#pragma once

#include <string>

#include "quillonctl/import/import_model.h"

namespace quillonctl {

// `origin` says in the first line where it comes from.
std::string WriteBootptab(const Import& import, const std::string& origin);

}  // namespace quillonctl
