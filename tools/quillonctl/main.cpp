// The operator's command.
#include <exception>

#include "quillonctl/command_line/run.h"
#include "quillonctl/complaint.h"

int main(int argc, char** argv) {
    try {
        return quillonctl::Run(argc, argv);
    } catch (const std::exception& error) {
        return quillonctl::Complain(error.what());
    }
}
