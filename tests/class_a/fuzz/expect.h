#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// Ends the process, which is how a fuzz target reports a broken promise, in every kind of build.
inline void expect(bool holds, const char* promise) {
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
}
