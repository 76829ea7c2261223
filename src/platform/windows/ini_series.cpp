#include "platform/ini_series.h"

// The system alone decides when it looks at the file.
IniSeries::IniSeries() {}
IniSeries::~IniSeries() {}
