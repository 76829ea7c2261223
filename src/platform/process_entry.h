// The process's entry around the program: whatever the platform needs set up before and cleaned up after it.
#pragma once

// Calls `program` with the arguments and returns its result.
int RunProcess(int argc, char* argv[], int (*program)(int argc, char* argv[]));
