#pragma once

#include <string>
#include <vector>

namespace Rvl {

/// Has the threads that this thread starts while the object lives served before those of ordinary programs,
/// for as long as they live, and keeps the process's memory from being paged out, for good. What this thread
/// does itself is back to normal once the object is gone.
///
/// On Linux that is SCHED_FIFO at a low real-time priority, and locked memory. On Windows threads inherit
/// nothing: the whole process then gets the highest class of priority that the system grants it, for good.
class CRealtime
{
public:
    CRealtime();
    ~CRealtime();
    CRealtime(const CRealtime&) = delete;
    CRealtime& operator=(const CRealtime&) = delete;

    /// What the system refused, a sentence each, with what would make it agree. The rest is in force.
    const std::vector<std::string>& refusals() const { return refusals_; }

private:
    std::vector<std::string> refusals_;
    bool scheduled_ = false;
};

} // namespace Rvl
