#include "driver/local/LocalControllerChannel.h"

#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/common/ControlLoopFactory.h"
#include "driver/local/controller/common/LoopInOutFactory.h"
#include "driver/local/controller/common/TimedLoopProcessor.h"
#include "driver/local/controller/controlloop/ConditionalControlLoopFactory.h"
#include "driver/local/controller/controlloop/PIDControlLoopFactory.h"
#include "driver/local/controller/controlloop/PT1ElementFactory.h"
#include "driver/local/controller/controlloop/TwoLevelControlLoopFactory.h"
#include "driver/local/controller/controlloopinput/AnalogChannelLoopInFactory.h"
#include "driver/local/controller/controlloopoutput/AnalogChannelLoopOutFactory.h"
#include "driver/local/controller/controlloopoutput/AnalogTwoQuadrantLoopOutFactory.h"
#include "driver/local/controller/controlloopoutput/DigitalChannelLoopOutFactory.h"
#include "driver/local/controller/controlloopoutput/PumpLoopOutFactory.h"
#include "driver/local/controller/controlloopoutput/PWMLoopOutFactory.h"
#include "driver/local/controller/controlloopoutput/PWMTwoQuadrantLoopOutFactory.h"
#include "driver/local/LoopCascade.h"
#include "platform/rivlink_core/Environment.h"

#include <boost/signals2/connection.hpp>
#include <boost/thread/thread.hpp>

#include <mutex>
#include <utility>

namespace Rvl {

namespace {

/// Between the host's signal and the channel. A slot may still be called while, or after, it is disconnected
/// on another thread; it then meets a closed gate. Closing waits for a call that is under way, and stopping
/// for the step that is under way: a loop's step must not emit the signal.
class CStopGate
{
public:
    explicit CStopGate(CLocalControllerChannel& channel) : channel_(&channel) {}

    void stop()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (channel_) {
            channel_->stop();
        }
    }

    void close()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        channel_ = nullptr;
    }

private:
    std::mutex mutex_;
    CLocalControllerChannel* channel_;
};

} // namespace

struct CLocalControllerChannel::LocalControllerChannelPrivate
{
    explicit LocalControllerChannelPrivate(std::shared_ptr<IControlLoop> topLoop)
        : controlLoop(std::move(topLoop))
    {}

    // in this order: the processor is destroyed before the channel lets go of the loop
    const std::shared_ptr<IControlLoop> controlLoop;
    CTimedLoopProcessor processor;

    std::shared_ptr<CStopGate> stopGate;
    boost::signals2::scoped_connection aboutToDisconnect;
};

CNameServer<CLocalControllerChannel*> CLocalControllerChannel::NameServer;

CLocalControllerChannel::CLocalControllerChannel(const std::string& name, std::shared_ptr<IControlLoop> loop)
    : IControllerChannel(name),
      Rvl::CNameServerRegistrator<CLocalControllerChannel*, CNameServer<CLocalControllerChannel*>>(
          NameServer, name, this),
      private_(std::make_unique<LocalControllerChannelPrivate>(std::move(loop)))
{
    addCascadedControlLoopToProcessor(private_->controlLoop);
    private_->stopGate = std::make_shared<CStopGate>(*this);
    private_->aboutToDisconnect = CEnvironment::getInstance()->aboutToDisconnect().connect(
        [gate = private_->stopGate] { gate->stop(); });
}

CLocalControllerChannel::~CLocalControllerChannel()
{
    private_->aboutToDisconnect.disconnect();
    private_->stopGate->close();
    const boost::this_thread::disable_interruption toTheEnd;
    private_->processor.stopControlLoops();
}

void CLocalControllerChannel::writeSetPointUnscaled(double setPoint)
{
    private_->controlLoop->writeSetpoint(setPoint);
}

double CLocalControllerChannel::getSetPoint()
{
    return getScaledValue(private_->controlLoop->readSetpoint());
}

double CLocalControllerChannel::readControlValue()
{
    return getScaledValue(readControlValueUnscaled());
}

void CLocalControllerChannel::writeManualControlValue(double controlValue)
{
    writeManualControlValueUnscaled(getUnscaledValue(controlValue));
}

double CLocalControllerChannel::readActualValueUnscaled()
{
    return private_->controlLoop->actualValue();
}

void CLocalControllerChannel::setEnabled(bool enable)
{
    if (enable && !private_->processor.processorActive()) {
        start();
    }
    private_->controlLoop->setEnabled(enable);
}

void CLocalControllerChannel::setManualMode(bool manual)
{
    private_->controlLoop->setManualMode(manual);
}

bool CLocalControllerChannel::isControlLoopEnabled()
{
    return private_->processor.processorActive() && private_->controlLoop->isEnabled();
}

void CLocalControllerChannel::writeManualControlValueUnscaled(double controlValue)
{
    private_->controlLoop->writeFixedControlValue(controlValue);
}

double CLocalControllerChannel::readControlValueUnscaled()
{
    return private_->controlLoop->readControlValue();
}

void CLocalControllerChannel::start()
{
    IControlLoop& loop = *private_->controlLoop;
    loop.inputElement()->init();
    loop.outputElement()->init();
    loop.init();
    private_->processor.runControlLoops();
}

void CLocalControllerChannel::stop()
{
    private_->processor.stopControlLoops();
}

void CLocalControllerChannel::beginStop()
{
    private_->processor.beginStop();
}

bool CLocalControllerChannel::isActive() const
{
    return private_->processor.processorActive();
}

std::uint64_t CLocalControllerChannel::runs() const
{
    return private_->processor.runs();
}

void CLocalControllerChannel::setParameters(const CControlParameters& parameters)
{
    const std::shared_ptr<IControlLoop> loop = private_->controlLoop;
    loop->setParameters(parameters);
}

const CControlParameters& CLocalControllerChannel::parameters() const
{
    const std::shared_ptr<IControlLoop> loop = private_->controlLoop;
    return loop->controlParameters();
}

std::shared_ptr<IControlLoop> CLocalControllerChannel::controlLoop()
{
    return private_->controlLoop;
}

CFactoryRegistry<IControlLoopFactory>& CLocalControllerChannel::controlLoopFactories()
{
    static CFactoryRegistry<IControlLoopFactory> registry;
    if (registry.size() == 0) {
        registry.put(std::make_shared<CPIDControlLoopFactory>());
        registry.put(std::make_shared<CTwoLevelControlLoopFactory>());
        registry.put(std::make_shared<CConditionalControlLoopFactory>());
    }
    return registry;
}

CFactoryRegistry<ILoopInFactory>& CLocalControllerChannel::loopInFactories()
{
    static CFactoryRegistry<ILoopInFactory> registry;
    if (registry.size() == 0) {
        registry.put(std::make_shared<CAnalogChannelLoopInFactory>());
    }
    return registry;
}

CFactoryRegistry<ILoopInOutFactory>& CLocalControllerChannel::loopInOutFactories()
{
    static CFactoryRegistry<ILoopInOutFactory> registry;
    if (registry.size() == 0) {
        registry.put(std::make_shared<CPT1ElementFactory>());
    }
    return registry;
}

CFactoryRegistry<ILoopOutFactory>& CLocalControllerChannel::loopOutFactories()
{
    static CFactoryRegistry<ILoopOutFactory> registry;
    if (registry.size() == 0) {
        registry.put(std::make_shared<CAnalogChannelLoopOutFactory>());
        registry.put(std::make_shared<CPWMLoopOutFactory>());
        registry.put(std::make_shared<CDigitalChannelLoopOutFactory>());
        registry.put(std::make_shared<CAnalogTwoQuadrantLoopOutFactory>());
        registry.put(std::make_shared<CPWMTwoQuadrantLoopOutFactory>());
        registry.put(std::make_shared<CPumpLoopOutFactory>());
    }
    return registry;
}

void CLocalControllerChannel::addCascadedControlLoopToProcessor(std::shared_ptr<IControlLoopElement> element)
{
    for (const auto& loop : loopsFrom(element)) {
        private_->processor.addControlLoop(loop);
    }
}

} // namespace Rvl
