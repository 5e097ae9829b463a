#include "host/process/AbortAlarm.h"

namespace Rvl {

void abortByAlarmAfter(std::chrono::milliseconds) {}

} // namespace Rvl
