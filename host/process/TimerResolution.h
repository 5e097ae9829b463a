#pragma once

namespace Rvl {

/// Sets the resolution of the system's timers to 1 ms for this process during the object's lifetime. Windows'
/// default of 15.6 ms is too coarse for a loop with a sample time of 20 ms. Does nothing on other systems.
class CTimerResolution
{
public:
    CTimerResolution();
    ~CTimerResolution();
    CTimerResolution(const CTimerResolution&) = delete;
    CTimerResolution& operator=(const CTimerResolution&) = delete;
};

} // namespace Rvl
