#include <cstdio>

#include "class_a/standard/CException.h"

int main() {
    try {
        ksl::CException::severityMask("error, x");
    } catch (ksl::CException& failure) {
        std::printf("%s\n", failure.text().c_str());
    }
    return 0;
}
