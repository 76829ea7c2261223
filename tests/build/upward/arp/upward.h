// An include that leads up, on purpose: floors.py has to find it.
#include "service/generation.h"
