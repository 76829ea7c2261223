#include "platform/process_entry.h"

#include <ace/Init_ACE.h>

int RunProcess(int argc, char* argv[], int (*program)(int argc, char* argv[])) {
    // ACE offers its main wrapper class only where it renames main(); its initialisation is what that class
    // does.
    ACE::init();
    const int result = program(argc, argv);
    ACE::fini();
    return result;
}
