// Status checks and the two error reporters every operation uses.
#pragma once

class CRVZCom;

namespace rvz {

enum ReportMode { kSerial = 0, kDistributed = 1 };

// The platform's text for a status code.
const char* PlatformErrorText(int code);

// Prints a failed step and, in serial mode, counts down before the caller
// goes on; in distributed mode aborts every process through `com`.
// Returns `code`.
int ReportCUDAError(int mode, int code, int device, int processId, const char* message, CRVZCom* com);

// Prints a failed device allocation (with the requirement when
// showRequirement is set) and, like ReportCUDAError, counts down or aborts.
// Returns `code`.
int ReportGPUMemoryError(int mode, int showRequirement, int code, double requiredMB, int device, int processId,
                         CRVZCom* com);

// Reads (and clears) the platform's last error after a launch or a group of
// launches; a failure is reported at once with `message`. Returns the code.
int CheckStep(const char* message, int device);
int CheckStepDistributed(const char* message, int device, int processId, CRVZCom* com);

// Length of one step of the reporters' five-step countdown, one second
// unless a test shortens it. Not part of the library's interface.
void SetReportCountdownMilliseconds(int milliseconds);
int ReportCountdownMilliseconds();

}  // namespace rvz
