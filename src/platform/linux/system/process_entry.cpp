#include "platform/process_entry.h"

#include <ace/Init_ACE.h>
#include <malloc.h>

int RunProcess(int argc, char* argv[], int (*program)(int argc, char* argv[])) {
    // Requests take their memory from heaps of their own. What is left for the allocator comes and goes with
    // loads, by whichever thread listens then: an arena for each would keep a share of each load.
    mallopt(M_ARENA_MAX, 1);
    // ACE offers its main wrapper class only where it renames main(); its initialisation is what that class
    // does.
    ACE::init();
    const int result = program(argc, argv);
    ACE::fini();
    return result;
}
