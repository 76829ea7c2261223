// What the service manager hears of the service, and the stop that it may ask for.
#pragma once

#include <atomic>

#include "platform/windows_api.h"

extern std::atomic<DWORD> ServiceSpecificCode;  // why the start failed; 0 if it didn't
extern std::atomic<DWORD> ServiceExitCode;      // of the final report: 1066, until an orderly stop makes it 0
extern HANDLE StopEvent;                        // manual-reset; set as the last act of the tear-down

// Null in -debug mode, where there is no manager to report to.
extern std::atomic<SERVICE_STATUS_HANDLE> ServiceStatusHandle;

// Reports a state; stop, pause and continue are accepted in every one but START_PENDING. May be called from
// any thread. Returns 0 if the manager can't be reached: the service then stops as on a stop control, and
// non-zero otherwise.
int ReportServiceStatus(DWORD state, DWORD exitCode, DWORD checkPoint, DWORD waitHint);

// The last report: STOPPED with ServiceExitCode. None goes out after it, whoever makes it.
void ReportServiceEnd();

// What a control reports, with all zeros: `to` if the state is `from` at that moment, and true; else that
// state once more. So a control never takes back what the end of the service has reported meanwhile.
bool ReportStateChange(DWORD from, DWORD to);

DWORD CurrentServiceState();  // as last reported; 0 before the first report

// The stop control: ends a pause, interrupts a load, reports STOPPED and ends reception on a thread of its
// own. The tear-down follows on the listener; StopEvent tells its end.
void StopService();
