#include "platform/process_entry.h"
#include "service/host/service_host.h"

int main(int argc, char* argv[]) {
    return RunProcess(argc, argv, ProgramMain);
}
