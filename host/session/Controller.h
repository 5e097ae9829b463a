#pragma once

#include "common/LoopGraph.h"
#include "common/ThreadSafety.h"
#include "host/configuration/DrivenOutput.h"
#include "host/session/ControllerState.h"
#include "host/session/InputSupervision.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Rvl {

class IControllerChannel;
class IIoChannelInterface;

/// One controller: its channel, the loops behind it, the channels that it reads and drives, the supervision
/// of its inputs, and its mode. It must be destroyed before these channels. But for the constructor and
/// supervise(), all operations may be called from any thread.
class CController
{
public:
    /// What the configuration says about the start.
    struct SStart
    {
        bool enabled = false;
        bool manual = false;
        std::optional<double> manualControlValue; ///< scaled
    };

    /// What the operator's page shows about it.
    struct SPresentation
    {
        std::string description;
        std::string group;
        std::optional<std::pair<double, double>> scale; ///< least and greatest scaled value of its bars
    };

    /// Both of the channel's interfaces are the same object. `referred` are the channels that the controller
    /// reads and drives, `plugins` what the loaded plug-ins offer for their loops.
    CController(IIoChannelInterface& io, IControllerChannel& channel,
                std::vector<const IIoChannelInterface*> referred, const SStart& start,
                const std::vector<const SLoops*>& plugins);
    ~CController();
    CController(const CController&) = delete;
    CController& operator=(const CController&) = delete;

    /// Supervises the inputs from now on, before the controller is enabled for the first time. False if they
    /// cannot be.
    bool supervise(const SBadInputPolicy& policy);

    const std::string& name() const { return name_; }
    IControllerChannel& channel() const { return channel_; }
    const std::vector<const IIoChannelInterface*>& referred() const { return referred_; }
    const SStart& startMode() const { return start_; }
    const SPresentation& presentation() const { return presentation_; }
    /// Before other threads use the controller.
    void setPresentation(SPresentation presentation) { presentation_ = std::move(presentation); }
    /// What the configuration says about its loops; empty if it has none.
    const SControllerLoops& described() const { return described_; }
    /// Before other threads use the controller. The types must outlive it.
    void setDescribed(SControllerLoops described) { described_ = std::move(described); }

    /// Reads everything once: the values of the loops' last steps, without reading their inputs. What a
    /// channel throws passes.
    SControllerState read() const;
    /// The loops behind the channel; null if it is not made of a plug-in's loops.
    ILoopGraph* loops() const { return loops_.get(); }
    /// The least and the most control value of the outermost loop, scaled; nothing if it has no limits. Takes
    /// the loop's lock.
    std::optional<std::pair<double, double>> controlLimits() const;
    /// Whether one of the loops has calculated since the start.
    bool hasStepped() const;

    /// A channel whose enabling fails is disabled, as it may have switched on a part of what it drives; the
    /// first exception passes.
    void setEnabled(bool enabled);
    void setManual(bool manual);
    /// As setManual(), but without a bump of the control value, as far as the loops can.
    void handOver(bool manual);
    bool isManual() const { return manual_; }
    /// Whether it is kept disabled because it calculated a control value that is not a number, until it is
    /// enabled again.
    bool hasFailed() const;

    /// Held by commands, which so are carried out one after another.
    CMutex& commandMutex() RVL_RETURN_CAPABILITY(commandMutex_) { return commandMutex_; }

private:
    SHealth healthOf(SControllerState& state) const;
    void readLoops(std::vector<SLoopStatus>& status) const;

    const std::string name_;
    IIoChannelInterface& io_;
    IControllerChannel& channel_;
    const std::vector<const IIoChannelInterface*> referred_;
    const SStart start_;
    SPresentation presentation_;
    SControllerLoops described_;
    std::atomic<bool> manual_{false};
    CMutex commandMutex_;
    std::unique_ptr<ILoopGraph> loops_;
    std::unique_ptr<CInputSupervision> supervision_;
};

} // namespace Rvl
