#include "host/process/CallWatch.h"

#include "host/process/ShutdownLimits.h"

#include <utility>

namespace Rvl {

CCallWatch::CCall::CCall(CCallWatch& watch, const std::string& name, eThread thread)
    : watch_(watch), name_(name), thread_(thread), begin_(Clock::now())
{
    const CMutexLock lock(watch_.mutex_);
    place_ = watch_.calls_.insert(watch_.calls_.end(), this);
}

CCallWatch::CCall::~CCall()
{
    const CMutexLock lock(watch_.mutex_);
    watch_.calls_.erase(place_);
    if (reported_) {
        watch_.returned_.push_back("hung call: " + name_ + " has returned");
    }
}

std::string CCallWatch::current() const
{
    const CMutexLock lock(mutex_);
    return calls_.empty() ? "" : calls_.front()->name_;
}

std::vector<std::string> CCallWatch::report(Clock::time_point now)
{
    const CMutexLock lock(mutex_);
    std::vector<std::string> texts = std::exchange(returned_, {});
    for (CCall* const call : calls_) {
        if (!call->reported_ && now - call->begin_ >= limit_) {
            call->reported_ = true;
            texts.push_back("hung call: " + call->name_ + " has not returned for " + limitText(limit_) +
                            (call->thread_ == Observing ? "; nothing is shown or recorded meanwhile" : ""));
        }
    }
    return texts;
}

} // namespace Rvl
