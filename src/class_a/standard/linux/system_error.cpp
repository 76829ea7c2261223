#include <string.h>

#include <cerrno>

#include "class_a/standard/detail/system_error.h"

namespace ksl {

int last_system_error() {
    return errno;
}

bool system_error_text(int code, std::string& text) {
    // Unlike strerror it tells an unknown code from a known one, and doesn't follow the locale.
    const char* const description = strerrordesc_np(code);
    if (description == nullptr) return false;
    text = description;
    return true;
}

}  // namespace ksl
