#pragma once

// How often this process has allocated by any form of operator new.
long allocation_count();
