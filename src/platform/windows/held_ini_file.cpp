#include "platform/held_ini_file.h"

// The system alone decides when it looks at the file.
HeldIniFile::HeldIniFile() : missedBefore_(0) {}
HeldIniFile::HeldIniFile(SinceLastDatagram) : missedBefore_(0) {}
HeldIniFile::~HeldIniFile() {}

std::uint64_t HeldIniFile::ContentNumber(const char*) const {
    return 0;
}

// Nor does it say so.
bool HeldIniFile::HasMissedMemory() const {
    return missedBefore_ != 0;
}
