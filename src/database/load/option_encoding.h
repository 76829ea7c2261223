// From a key and its value text to bytes: the one place where a line of bootptab gets its form in a reply.
#pragma once

#include "database/option_catalogue.h"
#include "platform/windows_api.h"
#include "request/boot_packet.h"

// Values are read with a size that lets one more character in than a value may have, so that a longer one
// shows; the buffer has room for the second NUL of a list after that.
inline constexpr DWORD LongestOptionValue = 1023;
inline constexpr DWORD OptionValueRead = LongestOptionValue + 2;
inline constexpr std::size_t OptionValueSize = OptionValueRead + 1;

enum class EncodeOutcome {
    Done,
    NoRoom,     // the entry has to grow
    Malformed,  // no entry, whatever its size
};

struct EncodedOption {
    EncodeOutcome outcome;
    BYTE* cursor;  // when done: where the next option goes
};

// Encodes `value` by what the catalogue says about `key`.
//
// A tag of 0 or more appends one option at `cursor`; `limit` is the first byte after the block. With
// `terminateStrings` the body of a string ends in a NUL. A pseudo-tag changes the fixed part of `packet` and
// leaves the cursor alone. An unknown key, such as the empty one, writes the end mark at the cursor and
// leaves it there, for the next option to overwrite.
//
// An option body above 255 bytes, a value above LongestOptionValue characters, a number that 32 bits can't
// hold, a time without two colons, a text that its field can't take, and an option of a type that isn't
// encodable are malformed.
//
// `value` is changed; its buffer has a byte to spare after the text's NUL. Nothing is written at or after
// `limit`.
EncodedOption EncodeOptionValue(DWORD terminateStrings, const OptionDefinition* catalogue, BootPacket* packet,
                                BYTE* cursor, BYTE* limit, const char* key, char* value);

// The same for a key whose row of the catalogue is known; null for an unknown key.
EncodedOption EncodeDefinedOption(DWORD terminateStrings, const OptionDefinition* definition,
                                  BootPacket* packet, BYTE* cursor, BYTE* limit, char* value);
