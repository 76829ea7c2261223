#include "platform/service_report.h"

// The service manager hands on controls, and nothing comes back but a state: no operator can ask.
void SetReportProvider(ReportProvider) {}
