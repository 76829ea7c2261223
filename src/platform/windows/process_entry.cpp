#include "platform/process_entry.h"

#include <ace/OS_main.h>
#undef main

namespace {

int (*Program)(int argc, char* argv[]);

class ACE_Main : public ACE_Main_Base {
  public:
    int run_i(int argc, char* argv[]) override { return Program(argc, argv); }
};

}  // namespace

int RunProcess(int argc, char* argv[], int (*program)(int argc, char* argv[])) {
    Program = program;
    ACE_Main main;
    return main.run(argc, argv);
}
