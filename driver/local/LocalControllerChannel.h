#pragma once

#include "common/FactoryRegistry.h"
#include "common/NameServer.h"
#include "driver/local/Export.h"
#include "platform/rivlink_device/ControllerChannel.h"

#include <cstdint>
#include <memory>
#include <string>

namespace Rvl {

class CControlParameters;
class IControlLoop;
class IControlLoopElement;
class IControlLoopFactory;
class ILoopInFactory;
class ILoopInOutFactory;
class ILoopOutFactory;

/// Shows a control loop, with the loops cascaded below it, to the host as an ordinary controller channel, and
/// has them calculated, each on its sample time, by a processor of its own.
///
/// A cascade is a chain along outputs: a loop whose output is a loop. All loops of the chain are calculated;
/// set point, values, enable and manual mode are those of the outermost one. Values are scaled ones unless
/// the name says otherwise.
///
/// Nothing runs before setEnabled(true) or start(). Disabling leaves the processor running, so that actual
/// values keep being announced; it stops with stop(), with the host's aboutToDisconnect signal and with the
/// channel. A stopped channel can be started again.
///
/// Operations are called on the host's threads; the loops guard themselves against the processor's thread.
class RIVLINK_LOCAL_EXPORT CLocalControllerChannel
    : public IControllerChannel,
      private CNameServerRegistrator<CLocalControllerChannel*, CNameServer<CLocalControllerChannel*>>
{
public:
    /// Every live local controller channel by channel name.
    static CNameServer<CLocalControllerChannel*> NameServer;

    /// `loop` is the outermost loop, wired and not null. Throws CConfigurationException if another controller
    /// channel bears the name.
    CLocalControllerChannel(const std::string& name, std::shared_ptr<IControlLoop> loop);
    /// Blocks for up to the longest sample time, after the steps under way, while the processor runs.
    ~CLocalControllerChannel() override;

    void writeSetPointUnscaled(double setPoint) override;
    double getSetPoint() override;
    double readControlValue() override;
    void writeManualControlValue(double controlValue) override;
    double readActualValueUnscaled() override;
    /// Enabling starts the processor if it is not running, and throws what start() throws. Disabling leaves
    /// it running.
    void setEnabled(bool enable) override;
    void setManualMode(bool manual) override;
    /// False while the processor is not running, whatever the loop's own switch says.
    bool isControlLoopEnabled() override;
    void writeManualControlValueUnscaled(double controlValue) override;
    double readControlValueUnscaled() override;

    /// Initialises the input, the output and the loop, in this order, and starts the processor. Those below
    /// a cascaded loop are not initialised. What the elements throw passes, and nothing runs then. The
    /// outermost loop must have an input and an output that are elements.
    void start();
    /// Stops the processor, also when the host's aboutToDisconnect signal arrives; blocks for up to the
    /// longest sample time without a timeline after the steps under way. Nothing happens if it is not
    /// running.
    void stop();
    /// Has the loops begin no further step, and waits for nothing. The channel counts as running until
    /// stop(), which must follow.
    void beginStop();
    /// Whether the processor runs.
    bool isActive() const;
    /// How often the processor was started. The steps before and after a start belong to different runs.
    std::uint64_t runs() const;

    /// The outermost loop's parameters. Throws std::invalid_argument if the loop does not take them.
    void setParameters(const CControlParameters& parameters);
    /// Valid as long as the loop.
    const CControlParameters& parameters() const;
    std::shared_ptr<IControlLoop> controlLoop();

    /// The factories of everything that a loop is made of, by type name. Each registry files the default
    /// factories when it is requested while it is empty.
    static CFactoryRegistry<IControlLoopFactory>& controlLoopFactories();
    static CFactoryRegistry<ILoopInFactory>& loopInFactories();
    static CFactoryRegistry<ILoopInOutFactory>& loopInOutFactories();
    static CFactoryRegistry<ILoopOutFactory>& loopOutFactories();

private:
    void addCascadedControlLoopToProcessor(std::shared_ptr<IControlLoopElement> element);

    struct LocalControllerChannelPrivate;
    std::unique_ptr<LocalControllerChannelPrivate> private_;
};

} // namespace Rvl
