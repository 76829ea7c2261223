#pragma once

#include <cstdio>
#include <cstdlib>

// Ends the process, which is how a fuzz target reports a broken promise, in every kind of build.
inline void expect(bool holds, const char* promise) {
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
}
