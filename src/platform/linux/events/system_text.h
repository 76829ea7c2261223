// The texts of Windows' error numbers. Within the layer only.
#pragma once

#include <string>

#include "platform/linux/faces/types.h"

// A sentence, without a line end; empty if the system has no text for the number. The text of a number that
// stands for an error of the C library is the C library's.
std::string SystemText(DWORD number);
