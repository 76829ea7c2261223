// What the command says when it can't do what it was asked for.
#pragma once

#include <unistd.h>

#include <iostream>
#include <string>

#include "quillonctl/command_line/colour.h"
#include "quillonctl/exit_status.h"

namespace quillonctl {

// Says it and gives the status on, for `return Complain(...)`.
inline int Complain(const std::string& complaint, int status = ExitFailed) {
    std::cerr << Painted("quillonctl:", Colour::Red, MayHaveColour(STDERR_FILENO)) << " " << complaint
              << "\n";
    return status;
}

// Puts the whole output out; output that no one gets is a failure.
inline int Output(const std::string& text, int status = ExitDone) {
    std::cout << text << std::flush;
    return std::cout ? status : Complain("the output can't be written");
}

}  // namespace quillonctl
