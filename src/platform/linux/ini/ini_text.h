// What the bytes of an INI file stand for. Within the layer only.
#pragma once

#include "platform/linux/system/whole_file.h"

// The text that the parser takes: UTF-16 with a byte order mark, in either order, becomes UTF-8, and all
// other bytes stay. Every line then ends in a line feed, and NUL bytes are blanks. Throws std::bad_alloc.
FileText IniText(FileText bytes);
