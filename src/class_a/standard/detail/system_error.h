#pragma once

#include <string>

// The operating system's error numbers and their texts.
namespace ksl {

// The calling thread's last error. The next call of anything may change it.
int last_system_error();

// Stores the system's text of `code` as UTF-8, line ends and all. False if the system knows no such code.
bool system_error_text(int code, std::string& text);

}  // namespace ksl
