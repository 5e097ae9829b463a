#pragma once

#include "host/session/Rig.h"
#include "platform/rivlink_device/ControllerChannel.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Rvl::Test {

/// A controller channel with one loop that counts how often each is read, and does nothing else.
class CCountedController : public IControllerChannel
{
public:
    explicit CCountedController(const std::string& name) : IControllerChannel(name) {}

    void writeSetPointUnscaled(double value) override { setPoint = value; }
    double getSetPoint() override { return setPoint; }
    double readControlValue() override { return controlValue; }
    void writeManualControlValue(double value) override { manualControlValue = value; }
    double readActualValueUnscaled() override
    {
        ++reads;
        if (onRead) {
            onRead();
        }
        return 25.0;
    }
    void setEnabled(bool enable) override
    {
        enabled = enable;
        if (onEnable) {
            onEnable(enable);
        }
    }
    void setManualMode(bool value) override { manual = value; }
    bool isControlLoopEnabled() override { return enabled; }
    void writeManualControlValueUnscaled(double value) override { manualControlValue = value; }
    double readControlValueUnscaled() override { return controlValue; }

    std::atomic<double> setPoint{30.0};
    std::atomic<double> controlValue{10.0};
    std::atomic<double> manualControlValue{0.0};
    std::atomic<bool> enabled{false};
    std::atomic<bool> manual{false};
    std::atomic<double> sinceStep_ms{0.0};
    std::atomic<int> reads{0};
    mutable std::atomic<int> loopReads{0};
    SLoopParameters parameters{"p", false, {{"K", 10.0}, {"MinU", 0.0}, {"MaxU", 100.0}, {"Setpoint", 30.0}}};
    std::function<void()> onRead;
    std::function<void(bool)> onEnable;
    std::function<void()> onBeginStop;
};

/// The loop of such a controller.
class CCountedLoop : public ILoopGraph
{
public:
    explicit CCountedLoop(CCountedController& controller) : controller_(controller) {}
    static const SLoops* loops()
    {
        static const SLoops entry{SLoops::currentVersion,
                                  [](IIoChannelInterface& channel) -> ILoopGraph* {
                                      return new CCountedLoop(dynamic_cast<CCountedController&>(channel));
                                  },
                                  [](ITimeline*) {}};
        return &entry;
    }
    std::size_t loopCount() const override { return 1; }
    SLoopStatus status(std::size_t) const override
    {
        ++controller_.loopReads;
        SLoopStatus status;
        status.typeName = "Rvl::CCountedLoop";
        status.sampleTime_ms = 100;
        status.enabled = controller_.enabled;
        status.setPoint = controller_.setPoint;
        status.actualValue = controller_.readActualValueUnscaled();
        status.controlValue = controller_.controlValue;
        status.sinceStep_ms = controller_.sinceStep_ms;
        return status;
    }
    IIoChannelInterface* inputChannel(std::size_t) const override { return nullptr; }
    SLoopParameters parameters(std::size_t) const override { return controller_.parameters; }
    void setParameters(std::size_t, const std::vector<SLoopParameters::SValue>& values) override
    {
        for (const SLoopParameters::SValue& value : values) {
            for (SLoopParameters::SValue& entry : controller_.parameters.values) {
                entry.value = entry.key == value.key ? value.value : entry.value;
            }
        }
    }
    SLoopMemory save(std::size_t) const override { return {}; }
    void restore(std::size_t, const SLoopMemory&) override {}
    void handOver(bool manual) override
    {
        if (manual) {
            controller_.writeManualControlValueUnscaled(controller_.controlValue);
        }
        controller_.setManualMode(manual);
    }
    std::unique_ptr<ILoopSupervision> supervise(const IInputCheck&, const SBadInputReaction&) override
    {
        return nullptr;
    }
    void beginStop() override
    {
        if (controller_.onBeginStop) {
            controller_.onBeginStop();
        }
    }

private:
    CCountedController& controller_;
};

/// Adds a controller of that name to a rig, which owns it.
inline CCountedController& addCounted(SRig& rig, const std::string& name,
                                      CController::SStart start = {true, false, {}})
{
    auto channel = std::make_unique<CCountedController>(name);
    CCountedController& result = *channel;
    auto entry = std::make_unique<SRig::SChannel>();
    entry->name = name;
    entry->controller =
        std::make_unique<CController>(result, result, std::vector<const IIoChannelInterface*>(), start,
                                      std::vector<const SLoops*>{CCountedLoop::loops()});
    entry->channel = std::move(channel);
    result.loopReads = 0; // construction reads it as well
    result.reads = 0;
    rig.controllers.push_back(entry->controller.get());
    rig.channels.push_back(std::move(entry));
    return result;
}

} // namespace Rvl::Test
