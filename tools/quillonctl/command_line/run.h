// The whole command, from its words to its exit status.
#pragma once

namespace quillonctl {

// Reads the words as `main` gets them and does what they say. Returns the exit status; may throw what the
// standard library throws.
int Run(int argc, char** argv);

}  // namespace quillonctl
