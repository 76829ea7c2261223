// The service's parameters, as its registry has them.
#pragma once

#include <string>

namespace quillonctl {

// A text of the parameters of this home; empty if there is none, or it can't be read.
std::string TextParameter(const char* name);

// The path of the service's bootptab, as the parameter DatabasePath says; a relative one counts from the
// service's folder.
std::string DatabasePath();

}  // namespace quillonctl
