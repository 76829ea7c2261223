// A series of INI operations that one thread makes in a row: a dozen for a client, and so many for each
// client in a load. A look at the file costs many times as much as all the rest of an operation.
#pragma once

#include <cstdint>

// While one of them lives, the INI operations of its thread may take the content of the file from a look that
// is some milliseconds old, where each of them would have to look at the file itself; the first one looks
// anew. An edit thus shows within that time in the midst of the series, and at once after its end. Other
// threads aren't concerned. One within another adds nothing.
class HeldIniFile {
  public:
    HeldIniFile();

    // For the few operations that serve the datagram that the calling thread has received last: one look is
    // enough for all of them, and it may be one that any thread has taken since that datagram came. What an
    // edit has changed before the datagram was sent is seen. Only the first one after each datagram has that
    // choice; without a datagram a new look is taken.
    struct SinceLastDatagram {};
    explicit HeldIniFile(SinceLastDatagram);

    ~HeldIniFile();
    HeldIniFile(const HeldIniFile&) = delete;
    HeldIniFile& operator=(const HeldIniFile&) = delete;

    // A number of what the operations of its thread find in the file now: while that stays the same, so does
    // what they find. 0 if that can't be told.
    std::uint64_t ContentNumber(const char* path) const;

    // Whether an INI operation of its thread has given its default since, not because the file has no such
    // thing but because there was no memory for looking.
    bool HasMissedMemory() const;

  private:
    const unsigned missedBefore_;
};
