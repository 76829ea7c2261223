// The parameters, a row each: what the registry calls them, where the record keeps them, and what holds for
// their values. Reading, installing, limits and the manual page all follow these rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/windows_api.h"

struct ServerParameters;

inline constexpr int NotInstalled = 0;

struct NumberParameter {
    const char* name;
    std::size_t field;  // offset of its 32 bits in ServerParameters
    bool required;      // a load without the value fails
    DWORD fallback;     // what a missing value counts as, in the registry's unit
    DWORD scale;        // from the registry's unit to the record's
    int installPlace;   // in the order in which an install writes; NotInstalled: it doesn't
    DWORD installed;    // the value that an install writes
    std::int64_t
        least;          // below it a load takes this; SecondDaemonThreadTimeout is signed, all others are not
    std::int64_t most;  // above it a load takes this
    bool outsideIsInstalled;  // a value outside takes the install value, not the nearest limit
};

struct TextParameter {
    const char* name;
    std::size_t field;  // offset of its ParameterTextSize bytes in ServerParameters
    bool required;
    bool expanded;          // environment references in it are replaced
    const char* installed;  // null: an install doesn't write it
    // What a value that is there and can't be used counts as; null: as missing. One that lets only some in
    // must let nobody in then.
    const char* unusable;
};

// Both in the order of reading: the texts first.
std::span<const TextParameter> TextParameters();
std::span<const NumberParameter> NumberParameters();

// A parameter's place in a record.
DWORD& NumberOf(ServerParameters* record, const NumberParameter& row);
char* TextOf(ServerParameters* record, const TextParameter& row);
