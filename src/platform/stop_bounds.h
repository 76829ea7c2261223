// How long a stop may take, of which the program, its connection to the manager and systemd's unit each see a
// part. A stop interrupts a load, so what is left is the tear-down, which waits for 16 seconds at most.
#pragma once

// From the report of SERVICE_STOPPED on, the dispatcher stays so long for the main function's return.
inline constexpr unsigned DispatcherStaySeconds = 20;

// The process stays so long after the dispatcher has returned: Windows' own returns right at that report.
inline constexpr unsigned ProcessStaySeconds = 20;

// After which a manager may kill.
inline constexpr unsigned UnitStopSeconds = DispatcherStaySeconds + ProcessStaySeconds + 5;
