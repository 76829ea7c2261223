#include "platform/process_entry.h"
#include "service/service_host.h"

int main(int argc, char* argv[]) {
    return RunProcess(argc, argv, ProgramMain);
}
