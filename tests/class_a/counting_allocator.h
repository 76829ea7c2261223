#pragma once

// How often this process has allocated by any form of operator new.
long allocation_count();

// Lets the allocation that is the `number`th from now fail, 0 for none. Returns whether one has failed since
// the call before.
bool fail_allocation(long number);
