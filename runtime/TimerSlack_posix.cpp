#include "runtime/TimerSlack.h"

#include <sys/prctl.h>

namespace Rvl {

void minimizeTimerSlack()
{
    constexpr unsigned long slack_ns = 1; // 0 would be the default
    prctl(PR_SET_TIMERSLACK, slack_ns, 0, 0, 0);
}

} // namespace Rvl
