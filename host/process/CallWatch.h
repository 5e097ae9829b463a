#pragma once

#include "common/ThreadSafety.h"

#include <atomic>
#include <chrono>
#include <list>
#include <string>
#include <vector>

namespace Rvl {

/// Which calls into devices, controllers and files are under way, and which of them hang: a call is hung once
/// it has not returned within the limit. All operations may be called from any thread.
class CCallWatch
{
public:
    using Clock = std::chrono::steady_clock;

    /// On which thread a call is made.
    enum eThread
    {
        Observing, ///< the observer's: nothing is shown or recorded until the call has returned
        Other
    };

    explicit CCallWatch(std::chrono::milliseconds limit) : limit_(limit) {}

    /// A call that is under way for as long as the object lives. Calls are not nested on a thread.
    class CCall
    {
    public:
        CCall(CCallWatch& watch, const std::string& name, eThread thread = Observing);
        ~CCall();
        CCall(const CCall&) = delete;
        CCall& operator=(const CCall&) = delete;

    private:
        friend class CCallWatch;
        CCallWatch& watch_;
        std::string name_;
        const eThread thread_;
        Clock::time_point begin_;
        bool reported_ = false;
        std::list<CCall*>::iterator place_;
    };

    /// The name of the call that has been under way the longest; empty if there is none.
    std::string current() const;
    /// What has become of calls since the last report, one text each: "hung call: NAME has not returned for
    /// 2 s", once for each call, with "; nothing is shown or recorded meanwhile" if it is the observer's, and
    /// "hung call: NAME has returned" for those reported earlier.
    std::vector<std::string> report(Clock::time_point now = Clock::now());

    /// Gives up a call that was to end: objects that it may use must not be destroyed from now on, plug-ins
    /// not be unloaded, and the process has to end by exitWithoutCleanup().
    void giveUp() { givenUp_ = true; }
    /// Whether a call was given up.
    bool isGivenUp() const { return givenUp_; }

private:
    const std::chrono::milliseconds limit_;
    mutable CMutex mutex_;
    std::list<CCall*> calls_ RVL_GUARDED_BY(mutex_); ///< in the order in which they began
    std::vector<std::string> returned_ RVL_GUARDED_BY(mutex_);
    std::atomic<bool> givenUp_{false};
};

} // namespace Rvl
