#pragma once

#include "common/LoopGraph.h"
#include "common/ThreadSafety.h"
#include "host/web/StateJson.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

/// What changes of a controller only by a command: names, units, ranges and parameters.
struct SControllerFacts
{
    struct SLoop
    {
        std::string typeName;
        SLoopParameters parameters;
    };

    Json channel; ///< as the interface gives it, without the state
    std::vector<SLoop> loops;
};

/// Keeps the facts of controllers, so that reading them over the interface does not take the locks of their
/// loops again and again. From any thread.
class CControllerFacts
{
public:
    using Facts = std::shared_ptr<const SControllerFacts>;

    /// The facts of this controller; `read` is called for them if they are not known. What it throws passes.
    Facts of(const std::string& controller, const std::function<SControllerFacts()>& read);
    /// After a command to this controller. What is being read at the time is not kept.
    void forget(const std::string& controller);

private:
    CMutex mutex_;
    std::map<std::string, Facts> known_ RVL_GUARDED_BY(mutex_);
    std::uint64_t changes_ RVL_GUARDED_BY(mutex_) = 0;
};

} // namespace Rvl
