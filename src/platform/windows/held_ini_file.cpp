#include "platform/held_ini_file.h"

// The system alone decides when it looks at the file.
HeldIniFile::HeldIniFile() {}
HeldIniFile::~HeldIniFile() {}
