#pragma once

#include "common/LoopGraph.h"
#include "common/LoopRearming.h"
#include "host/configuration/Configuration.h"
#include "host/configuration/Fault.h"
#include "host/configuration/References.h"
#include "host/process/CallWatch.h"
#include "host/process/DeadlineTasks.h"
#include "host/process/ShutdownLimits.h"
#include "host/session/ControllerState.h"
#include "host/types/TypeCatalogue.h"

#include <boost/property_tree/ptree.hpp>
#include <pugixml.hpp>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace Rvl {

class CClockStepDetector;
class IBus;
class IControllerChannel;
class IDeviceInterface;
class IIoChannelInterface;

/// What loaded plug-ins can do for their loops.
struct SLoopFunctions
{
    std::vector<const SLoops*> loops;
    std::vector<RearmLoopsFunction*> rearm;
};

/// The loops of one controller.
struct SControllerLoops
{
    std::string controller;
    ILoopGraph* graph;
};

/// The objects of one configuration, from building to destruction: build(), start(), shutDown().
class CSession
{
public:
    /// Configuration and catalogue must outlive the session, and so must the plug-ins.
    CSession(const CConfiguration& configuration, const CTypeCatalogue& catalogue,
             const SShutdownLimits& limits = {});
    /// Shuts down. If a hung call was given up, nothing is destroyed.
    ~CSession();
    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    /// Builds buses, devices and channels and binds the channels to their devices; drives nothing. What fails
    /// becomes a fault. Objects that `faults` already concerns are not built, nor is what refers to them.
    /// Controllers that are made of a plug-in's loops have their graph from here on; those whose
    /// configuration says what to do about bad input are supervised through it.
    void build(CFaultList& faults, const SLoopFunctions& functions = {});
    /// Connects buses and devices and enables the controllers whose configuration says so. From now on the
    /// loops' timers are set anew whenever the system's calendar goes back. What a device or
    /// controller throws passes; shutDown() then undoes what was done.
    void start();
    /// Has start() connect and enable nothing more. From any thread.
    void cancelStart();
    /// Takes everything down, in this order: disables every controller once start() was called, emits
    /// aboutToDisconnect, destroys the controllers, disconnects the devices, destroys the other channels and
    /// the devices, disconnects and shuts down the buses. One failure does not keep the rest from being done.
    /// Returns what failed, one text each. Nothing is left to do for a second call. `onStopped` is called
    /// once no loop is calculated any more, before anything is destroyed; before that another thread may
    /// still be in start(), if that was cancelled, and in states().
    ///
    /// A device may keep one of these steps from ever ending. It is given up after the limits (see
    /// CDeadlineTasks), what comes after it is done all the same, and nothing is destroyed:
    /// calls().isGivenUp().
    std::vector<std::string> shutDown(const std::function<void()>& onStopped = {},
                                      std::chrono::milliseconds longestSampleTime = {});
    /// The calls into buses, devices and controllers that start() and states() have under way. Once one is
    /// given up, nothing is destroyed.
    CCallWatch& calls() { return calls_; }
    const CCallWatch& calls() const { return calls_; }
    /// Whether controllers are being disabled for good, or are.
    bool isDisabling() const;

    /// For a process that is about to end, on the thread that is the reason: has every controller write its
    /// disabled value and every device carry that out, as far as they still can, which takes some seconds at
    /// most unless the calling thread itself never gets a lock. Nothing is destroyed, and start() enables
    /// nothing any more. Other threads may be in any operation; in shutDown() only until `onStopped`, or once
    /// a call was given up.
    void emergencyStop();

    /// The controllers in file order; valid until shutDown().
    std::vector<IControllerChannel*> controllers() const;
    /// The controllers that are made of a plug-in's loops, in file order; valid until shutDown().
    std::vector<SControllerLoops> loops() const;
    /// The state of each controller, in the same order. An enabled controller that is sound is "ok", one that
    /// is not enabled "off"; "fault: CHANNEL: TEXT" names the first faulty channel among the controller
    /// itself and those that it refers to, or a missing actual value. "bad input: ..." comes before these, if
    /// the controller's configuration says what to do about it.
    std::vector<SControllerState> states() const;

private:
    struct SChannel;
    struct SDevice;
    class CFailures;
    struct SNamedAction
    {
        std::string what;
        std::function<void()> act;
    };

    void buildBuses(CFaultList& faults);
    void buildDevices(CFaultList& faults);
    void buildChannels(CFaultList& faults);
    void buildChannel(const pugi::xml_node& node, const STypeDescription& type, CFaultList& faults);
    void addReferred(SChannel& entry) const;
    std::unique_ptr<ILoopGraph> graphOf(IIoChannelInterface& channel) const;
    void superviseInputs(const pugi::xml_node& node, SChannel& entry, CFaultList& faults) const;
    void checkSetPoint(const pugi::xml_node& node, IControllerChannel& controller, CFaultList& faults) const;
    bool isBuildable(const pugi::xml_node& node, const STypeDescription* type, const CFaultList& faults);
    bool attempt(const pugi::xml_node& node, CFaultList& faults, const std::function<void()>& step);
    std::string tooManyFiles() const;
    const STypeDescription* typeOf(const pugi::xml_node& node) const;
    const std::vector<const SChannel*>& controllersInFileOrder() const;
    void enable(SChannel& entry);
    static void disable(const SChannel& entry, CFailures& failures);
    void carryOut(const std::vector<SNamedAction>& actions, const std::shared_ptr<CFailures>& failures,
                  const SShutdownLimits& limits, CDeadlineTasks::eOrder order = CDeadlineTasks::AnyOrder,
                  const std::string& consequence = {});
    void carryOutInOrder(const std::vector<SNamedAction>& actions, const std::shared_ptr<CFailures>& failures,
                         const SShutdownLimits& limits);
    void disableControllers(const std::shared_ptr<CFailures>& failures, const SShutdownLimits& stopLimits);
    void destroyControllers(const std::shared_ptr<CFailures>& failures, const SShutdownLimits& limits);
    void disconnectDevices(const std::shared_ptr<CFailures>& failures);
    void destroyChannelsAndDevices(const std::shared_ptr<CFailures>& failures);
    void disconnectBuses(const std::shared_ptr<CFailures>& failures);
    void disconnectDevicesAtOnce();
    SControllerState stateOf(const SChannel& channel) const;

    const CConfiguration& configuration_;
    const CTypeCatalogue& catalogue_;
    const SShutdownLimits limits_;
    mutable CCallWatch calls_;
    std::vector<std::unique_ptr<SDevice>> devices_;
    /// In the order of building; destroyed in reverse.
    std::vector<std::unique_ptr<SChannel>> channels_;
    std::unordered_multimap<std::string, const SChannel*> channelsByName_;
    mutable std::optional<std::vector<const SChannel*>>
        controllersInFileOrder_; ///< found when asked for first
    std::set<std::string> notBuilt_;
    std::size_t builtOnChannels_ = 0; ///< how many channels that are built on others the configuration has
    bool outOfDescriptors_ = false;
    SLoopFunctions functions_;
    std::unique_ptr<CClockStepDetector> clockStepDetector_;
    std::mutex busesMutex_; ///< a start that hangs may still be under way
    std::vector<std::shared_ptr<IBus>> connectedBuses_;
    std::atomic<bool> started_{false};
    std::atomic<bool> startCancelled_{false};
    std::atomic<bool> disabling_{false}; ///< what is enabled from now on has to be disabled by who does it
};

} // namespace Rvl
