#pragma once

#include "common/Timeline.h"

#include <chrono>
#include <functional>

namespace Rvl {

/// Calls a function as a task of a worker, at once and then every `interval`, without drift: calls that were
/// missed while the worker was busy are left out. Ends with the object, or when the function returns false.
/// It must be destroyed as a task of the worker, or while that is not running tasks; the worker must outlive
/// it.
class CPeriodicTimer
{
public:
    CPeriodicTimer(const ITimeline& timeline, IWorker& worker, std::chrono::milliseconds interval,
                   std::function<bool()> call);
    ~CPeriodicTimer();
    CPeriodicTimer(const CPeriodicTimer&) = delete;
    CPeriodicTimer& operator=(const CPeriodicTimer&) = delete;

private:
    void wait();

    const ITimeline& timeline_;
    IWorker& worker_;
    const std::chrono::nanoseconds interval_;
    const std::function<bool()> call_;
    std::chrono::nanoseconds due_;
    IWorker::Ticket ticket_ = 0;
};

} // namespace Rvl
