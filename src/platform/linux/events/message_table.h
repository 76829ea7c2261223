// The message table of the program: the texts of its events by number. Within the layer only.
#pragma once

#include <cstddef>
#include <cstdint>

struct MessageTableRow {
    std::uint32_t number;
    const char* text;  // with insertions %1 to %9, and a line end
};

// Made from the program's message file and built into the layer's library, as the resource compiler builds it
// into a Windows executable.
extern const MessageTableRow MessageTable[];
extern const std::size_t MessageTableSize;

// The text of a number with all its bits; null if the table has none.
const char* FindMessageText(std::uint32_t number);
