// Events for somebody who looks at the program while it runs.
#pragma once

// From now on each event goes to the standard error as well, as a line with its time, type and number. A
// standard error that takes nothing loses it: nobody waits. On Windows the system's viewer shows the events,
// and this does nothing.
void CopyEventsToStandardError();
