// The option catalogue: what the keys of bootptab mean. It is read from the section "Options" of the same
// file, so every name is the database author's own; the service knows tags and types only.
#pragma once

#include "platform/windows_api.h"

inline constexpr std::size_t OptionNameSize = 260;

// How the value text of an option becomes bytes.
enum class OptionType : BYTE {
    Byte = 0,
    IpAddress = 1,
    String = 2,
    Int = 3,
    Word = 4,
    Time = 5,
    IpAddressArray = 6,
    MultiByte = 7,
    Bool = 8,
    HardwareAddress = 9,  // not encodable as an option
};

// One row. A catalogue is a block of rows in file order, ended by one whose name is empty. Once read it is
// never written to, and all threads share it without a lock.
struct OptionDefinition {
    char name[OptionNameSize];
    LONG tag;  // an option code from 0 up; a pseudo-tag below
    OptionType type;
};
static_assert(sizeof(OptionDefinition) == 268);

// Reads the catalogue of the file into `rows`, a zero-filled block of `capacity` rows; one of them ends the
// catalogue, so `capacity` - 1 names fit. `heap` gives the work buffer. Returns
//
// - DatabaseOk, also for an absent or empty section, with an empty catalogue;
// - a system error if the file can't be opened for reading;
// - OutOfMemory if there is no work buffer, and BlockNotReleased if the heap doesn't take it back;
// - DatabaseCorrupt for a value without a comma or with a tag beyond 32 bits, or a name of OptionNameSize
//   bytes and more;
// - CatalogueTooSmall if the caller has to ask again with more rows.
DWORD ReadOptionCatalogue(HANDLE heap, const char* path, DWORD capacity, OptionDefinition* rows);

// The first row with that name, in whatever case; null if there is none, and for an empty name.
const OptionDefinition* FindOptionDefinition(const OptionDefinition* catalogue, const char* name);
