#include <locale.h>
#include <stdlib.h>

#include "class_a/standard/detail/number_parser.h"

namespace ksl {

double classic_strtod(const char* text, char** end) {
    // Lives as long as the process; without memory for it, the locale of the process is the best there is.
    static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
    return classic == nullptr ? strtod(text, end) : strtod_l(text, end, classic);
}

}  // namespace ksl
