#include <locale.h>
#include <stdlib.h>

#include "class_a/standard/detail/number_parser.h"

namespace ksl {

double classic_strtod(const char* text, char** end) {
    // Lives as long as the process; without memory for it, the locale of the process is the best there is.
    static const _locale_t classic = _create_locale(LC_ALL, "C");
    return classic == nullptr ? strtod(text, end) : _strtod_l(text, end, classic);
}

}  // namespace ksl
