#pragma once

#include "host/process/CallWatch.h"
#include "host/process/DeadlineTasks.h"
#include "host/process/ShutdownLimits.h"
#include "host/session/Rig.h"
#include "host/session/Shutdown.h"
#include "host/session/Snapshot.h"
#include "runtime/Timelines.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

/// What a session runs on.
struct SSessionSettings
{
    ITimeline* timeline = &currentTimeline(); ///< must outlive the session
    SShutdownLimits limits;
    /// Inline if loops and devices share one thread: the session then has no thread either.
    CDeadlineTasks::eThreads threads = CDeadlineTasks::OwnThreads;

    /// The settings of a run on virtual time, which has one thread.
    static SSessionSettings onVirtualTime(ITimeline& timeline)
    {
        SSessionSettings settings;
        settings.timeline = &timeline;
        settings.threads = CDeadlineTasks::Inline;
        return settings;
    }
    bool isVirtual() const { return threads == CDeadlineTasks::Inline; }
};

/// The life of a rig: start(), reading its controllers, shutDown().
class CSession
{
public:
    /// The plug-ins must outlive the session.
    explicit CSession(SRig rig, const SSessionSettings& settings = {});
    /// Shuts down. If a hung call was given up, nothing is destroyed.
    ~CSession();
    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    /// Connects buses and devices and enables the controllers whose configuration says so. What a device or
    /// controller throws passes; shutDown() then undoes what was done.
    void start();
    /// Has start() connect and enable nothing more. From any thread.
    void cancelStart();
    bool isStartCancelled() const { return startCancelled_; }
    /// Takes everything down, as CShutdown says, which disables nothing unless start() was called. Nothing is
    /// left to do for a second call. `onStopped` is called once no loop is calculated any more, before
    /// anything is destroyed; before that another thread may still be in start(), if that was cancelled, and
    /// in snapshot().
    SShutdownReport shutDown(const std::function<void()>& onStopped = {});
    /// Takes every controller that is enabled to its disabled value, for a process that is about to be
    /// stopped; commands are refused until resume(). Returns what failed, one text each. Then at least one
    /// output may still be driven, and the process should not be stopped. Only once start() has returned; not
    /// while shutDown() is under way.
    std::vector<std::string> suspend();
    /// Enables the controllers again that suspend() disabled, unless the session is being shut down. Returns
    /// what failed, one text each.
    std::vector<std::string> resume();
    /// Whether everything has been started and nothing is being disabled for good, nor suspended.
    bool isRunning() const { return running_ && !disabling_ && !suspended_; }
    /// Whether controllers are being disabled for good, or are.
    bool isDisabling() const { return disabling_; }
    /// The calls into buses, devices and controllers that are under way. Once one is given up, nothing is
    /// destroyed.
    CCallWatch& calls() { return calls_; }

    /// For a process that is about to end, on the thread that is the reason: has every controller write its
    /// disabled value and every device carry that out, as far as they still can, which takes some seconds at
    /// most unless the calling thread itself never gets a lock. Nothing is destroyed, and start() enables
    /// nothing any more. Other threads may be in any operation; in shutDown() only until `onStopped`, or once
    /// a call was given up.
    void emergencyStop() { emergencyStop(FailedThread); }
    /// The same on a thread that has not failed, for at most SShutdownLimits::crash: controllers whose locks
    /// the failed thread holds are left to the disconnection of their devices.
    void emergencyStopBeside() { emergencyStop(OtherThread); }

    const ITimeline& timeline() const { return *settings_.timeline; }
    /// In the order of the file; none after shutDown().
    const std::vector<CController*>& controllers() const { return rig_.controllers; }
    /// In the order of building; none after shutDown().
    const std::vector<std::unique_ptr<SRig::SDevice>>& devices() const { return rig_.devices; }
    const std::vector<std::unique_ptr<SRig::SChannel>>& channels() const { return rig_.channels; }
    /// The controller of that name; null if there is none.
    CController* findController(const std::string& name) const;
    /// Reads each controller once. What a channel throws passes.
    SSnapshot snapshot() const;
    /// Whether a loop of any controller has calculated.
    bool hasStepped() const;

private:
    void connectBuses();
    void connectDevices();
    void enableControllers();
    void enable(CController& controller);
    enum eThread
    {
        FailedThread,
        OtherThread
    };
    void emergencyStop(eThread thread);
    void disableSideBySide(eThread thread);
    void disconnectDevicesAtOnce(std::chrono::milliseconds limit);

    SRig rig_;
    const SSessionSettings settings_;
    mutable CCallWatch calls_;
    CConnectedBuses buses_;
    std::atomic<bool> started_{false};
    std::atomic<bool> running_{false};
    std::atomic<bool> startCancelled_{false};
    std::atomic<bool> suspended_{false};
    std::vector<CController*> disabledBySuspend_;
    std::atomic<bool> disabling_{
        false}; ///< a controller that is enabled from now on has to be disabled again
};

} // namespace Rvl
