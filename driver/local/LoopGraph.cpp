#include "driver/local/LoopGraph.h"

#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/controlloop/PIDControlLoop.h"
#include "driver/local/controller/controlloop/TwoLevelControlLoop.h"
#include "driver/local/controller/controlloopinput/AnalogChannelLoopIn.h"
#include "driver/local/LocalControllerChannel.h"
#include "driver/local/LoopCascade.h"
#include "driver/local/LoopMemory.h"
#include "driver/local/LoopParameters.h"
#include "driver/local/LoopSupervisor.h"
#include "driver/local/LoopTimeline.h"
#include "platform/rivlink_device/AnalogInChannel.h"

#include <cmath>

namespace Rvl {

namespace {

ILoopGraph* graphOf(IIoChannelInterface& channel)
{
    auto* const local = dynamic_cast<CLocalControllerChannel*>(&channel);
    return local ? new CLoopGraph(*local) : nullptr;
}

/// Has a loop that has just been switched to automatic mode begin with the control value in force, at this
/// actual value. With the loop's lock held.
void goOnFromManual(IControlLoop& loop, double actualValue)
{
    if (auto* const pid = dynamic_cast<CPIDControlLoop*>(&loop)) {
        if (std::isfinite(actualValue)) { // otherwise there has been none yet
            pid->resume(actualValue);
        }
    } else if (auto* const twoLevel = dynamic_cast<CTwoLevelControlLoop*>(&loop)) {
        const CTwoLevelParameters parameters = twoLevel->parameters();
        const double up = parameters.getControlValueUp();
        const double down = parameters.getControlValueDown();
        const double value = loop.readControlValue();
        twoLevel->resume(std::fabs(value - up) < std::fabs(value - down) ? up : down);
    }
}

} // namespace

CLoopGraph::CLoopGraph(CLocalControllerChannel& channel)
    : channel_(channel), loops_(loopsFrom(channel.controlLoop())), monitor_(channel)
{}

std::size_t CLoopGraph::loopCount() const
{
    return loops_.size();
}

SLoopStatus CLoopGraph::status(std::size_t loop) const
{
    return monitor_.status(loop);
}

IIoChannelInterface* CLoopGraph::inputChannel(std::size_t loop) const
{
    const auto input = loops_.at(loop)->inputElement();
    const auto* const analog = dynamic_cast<const CAnalogChannelLoopIn*>(input.get());
    return analog ? analog->analogInputChannel() : nullptr;
}

SLoopParameters CLoopGraph::parameters(std::size_t loop) const
{
    return loopParameters(*loops_.at(loop));
}

void CLoopGraph::setParameters(std::size_t loop, const std::vector<SLoopParameters::SValue>& values)
{
    changeLoopParameters(*loops_.at(loop), values);
}

SLoopMemory CLoopGraph::save(std::size_t loop) const
{
    return loopMemory(*loops_.at(loop));
}

void CLoopGraph::restore(std::size_t loop, const SLoopMemory& memory)
{
    restoreLoopMemory(*loops_.at(loop), memory);
}

void CLoopGraph::handOver(bool manual)
{
    IControlLoop& loop = *loops_.front();
    // no step comes between: one in automatic mode would begin with terms that manual mode has zeroed
    const CControlLoopElementGuard guard(&loop);
    if (loop.isManualMode() == manual) {
        return;
    }
    if (manual) {
        channel_.writeManualControlValueUnscaled(loop.readControlValue());
    }
    // no step reads the input in manual mode: what it announced last, not what the last step has read
    const double actualValue = monitor_.status(0).actualValue;
    channel_.setManualMode(manual);
    if (!manual && loop.isEnabled()) {
        goOnFromManual(loop, actualValue);
    }
}

std::unique_ptr<ILoopSupervision> CLoopGraph::supervise(const IInputCheck& check,
                                                        const SBadInputReaction& reaction)
{
    return std::make_unique<CLoopSupervisor>(loops_, check, reaction);
}

void CLoopGraph::beginStop()
{
    channel_.beginStop();
}

} // namespace Rvl

const Rvl::SLoops* rivlinkLoops()
{
    static const Rvl::SLoops loops{Rvl::SLoops::currentVersion, &Rvl::graphOf, &Rvl::setLoopTimeline};
    return &loops;
}
