#pragma once

#include "common/ThreadSafety.h"
#include "host/process/CallWatch.h"
#include "host/process/DeadlineTasks.h"
#include "host/process/ShutdownLimits.h"
#include "host/session/Rig.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

class IBus;

/// The buses that a start has connected. A start that hangs may still add one during the shut-down.
class CConnectedBuses
{
public:
    void add(const std::shared_ptr<IBus>& bus);
    /// All of them, in the order of connecting; none is left.
    std::vector<std::shared_ptr<IBus>> takeAll();

private:
    CMutex mutex_;
    std::vector<std::shared_ptr<IBus>> buses_ RVL_GUARDED_BY(mutex_);
};

/// How a shut-down went.
struct SShutdownReport
{
    std::vector<std::string> failures; ///< one text each
    /// A step did not end within its limit, or a call was given up before: the objects were not destroyed,
    /// and the process has to end by exitWithoutCleanup().
    bool hung = false;
};

/// Takes a rig down, in this order: disables every controller, has all loops begin to stop, emits
/// aboutToDisconnect, destroys the controllers, disconnects the devices, destroys the other channels and the
/// devices, disconnects and shuts down the buses. One failure does not keep the rest from being done. A step
/// that does not end within the limits is given up and what comes after it is done all the same, but then
/// nothing is destroyed.
///
/// A rig that was never started is only destroyed.
class CShutdown
{
public:
    /// What only a rig that was started has.
    struct SStarted
    {
        CConnectedBuses& buses;
        /// Called once no loop is calculated any more, before anything is destroyed.
        std::function<void()> onStopped;
    };

    /// All must outlive the shut-down; if a call hangs, for as long as the process lives.
    CShutdown(SRig& rig, CCallWatch& calls, const SShutdownLimits& limits, CDeadlineTasks::eThreads threads);

    /// Only disables every controller and has the devices carry out the disabled values. The limits hold;
    /// what does not end within them is a failure and counts as a call that was given up.
    SShutdownReport disableAll();
    SShutdownReport takeDown(const SStarted& started);
    SShutdownReport destroy();

private:
    class CFailures;
    struct SStep
    {
        std::string name;
        std::function<void()> action;
    };

    void carryOut(const std::vector<SStep>& steps, const SShutdownLimits& limits,
                  CDeadlineTasks::eOrder order = CDeadlineTasks::AnyOrder,
                  const std::string& consequence = {});
    void disableControllers();
    void carryOutPendingWrites();
    void stopDrivers();
    void destroyControllers();
    void disconnectDevices();
    void destroyChannelsAndDevices(bool leaveBuses);
    void disconnectBuses(CConnectedBuses& buses);
    SShutdownReport report() const;

    SRig& rig_;
    CCallWatch& calls_;
    const SShutdownLimits limits_;
    SShutdownLimits stopLimits_; ///< of what stops the loops of all controllers
    CDeadlineTasks::eThreads threads_;
    std::shared_ptr<CFailures> failures_; ///< shared with the tasks, which may outlive the shut-down
};

} // namespace Rvl
