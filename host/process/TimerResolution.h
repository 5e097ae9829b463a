#pragma once

namespace Rvl {

/// Has the system wake sleeping threads of this process to the millisecond while the object lives. Windows
/// wakes them every 15.6 ms otherwise, which a loop of 20 ms could not live with. Linux needs no asking.
class CTimerResolution
{
public:
    CTimerResolution();
    ~CTimerResolution();
    CTimerResolution(const CTimerResolution&) = delete;
    CTimerResolution& operator=(const CTimerResolution&) = delete;
};

} // namespace Rvl
