#include "host/web/ControllerFacts.h"

#include <utility>

namespace Rvl {

CControllerFacts::Facts CControllerFacts::of(const std::string& controller,
                                             const std::function<SControllerFacts()>& read)
{
    std::uint64_t changesBefore = 0;
    {
        const CMutexLock lock(mutex_);
        if (const auto found = known_.find(controller); found != known_.end()) {
            return found->second;
        }
        changesBefore = changes_;
    }
    auto facts = std::make_shared<const SControllerFacts>(read());
    const CMutexLock lock(mutex_);
    if (changes_ == changesBefore) {
        known_[controller] = facts;
    }
    return facts;
}

void CControllerFacts::forget(const std::string& controller)
{
    const CMutexLock lock(mutex_);
    known_.erase(controller);
    ++changes_;
}

} // namespace Rvl
