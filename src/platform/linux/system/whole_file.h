// A file read into memory, and how to tell that it has changed since. Within the layer only.
#pragma once

#include <sys/stat.h>
#include <time.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/linux/faces/types.h"
#include "platform/linux/system/descriptor.h"

// The bytes of a file, in a block of their own.
struct FileText {
    std::unique_ptr<char[]> bytes;
    std::size_t size = 0;

    std::string_view View() const { return {bytes.get(), size}; }
};

// What a file looks like from outside. Two contents have two identities, unless the file was changed twice
// within one tick of the file system's clock.
struct FileIdentity {
    explicit FileIdentity(const struct stat& status);
    bool operator==(const FileIdentity& other) const;

    // Whether any change made from `now` on shows in the identity. `now` is a reading of
    // CLOCK_REALTIME_COARSE, the clock from which file times are taken.
    bool IsSettledAt(const timespec& now) const;

    dev_t device;
    ino_t inode;
    off_t size;
    timespec modified;
    timespec changed;
};

// Opens a regular file for reading and never waits for one. On failure no descriptor, and the last error: 2,
// 3, 5 and so on; 5 for what isn't a regular file.
Descriptor OpenForReading(const char* path, struct stat& status);

// Reads a whole regular file and never waits for one. Returns 0 or an error number, as OpenForReading gives
// it.
DWORD ReadWholeFile(const std::string& path, FileText& text);

// Reads from the descriptor's place to the end of the file, whose size is expected to be about `expected`.
// Returns 0 or an errno.
int ReadToEnd(int descriptor, std::size_t expected, FileText& text);

// Whether what the descriptor gives from its place on is just these bytes. Reads piece by piece.
bool HasSameBytes(int descriptor, std::string_view bytes);
