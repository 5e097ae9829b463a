#pragma once

#include "driver/local/Export.h"

#include <memory>
#include <mutex>

namespace Rvl {

/// Base of everything that takes part in a control loop: inputs, outputs, the loops themselves, and elements
/// between two loops. Owns the lock under which the threads that use an element meet; the thread that holds
/// it may take it again.
class RIVLINK_LOCAL_EXPORT IControlLoopElement
{
public:
    IControlLoopElement();
    virtual ~IControlLoopElement();
    IControlLoopElement(const IControlLoopElement&) = delete;
    IControlLoopElement& operator=(const IControlLoopElement&) = delete;

    /// Called once the element is wired into its loop, before the loop runs.
    virtual void init() = 0;

    /// Blocks until the calling thread holds the lock. Throws std::system_error if the system refuses.
    void lockAccess() const { mutex_->lock(); }
    /// Gives the lock back, once for each lockAccess(). Must be called by the thread that holds it.
    void unlockAccess() const { mutex_->unlock(); }

private:
    std::unique_ptr<std::recursive_mutex> mutex_;
};

/// Holds an element's lock for the length of a scope, also when an exception leaves it.
class RIVLINK_LOCAL_EXPORT CControlLoopElementGuard
{
public:
    /// Locks `element`, which must not be null and must outlive the guard.
    explicit CControlLoopElementGuard(const IControlLoopElement* element) : element_(element)
    {
        element_->lockAccess();
    }
    ~CControlLoopElementGuard() { element_->unlockAccess(); }
    CControlLoopElementGuard(const CControlLoopElementGuard&) = delete;
    /// From now on the guard unlocks the other guard's element. Nothing is locked or unlocked here: the
    /// code that assigns has to release every lock.
    CControlLoopElementGuard& operator=(const CControlLoopElementGuard& other);

private:
    const IControlLoopElement* element_;
};

} // namespace Rvl
