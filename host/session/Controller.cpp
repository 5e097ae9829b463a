#include "host/session/Controller.h"

#include "host/base/ControlCharacters.h"
#include "host/session/ParameterCheck.h"
#include "platform/rivlink_core/IoChannelInterface.h"
#include "platform/rivlink_device/ControllerChannel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace Rvl {

namespace {

/// A loop of which steps are missing is faulty from so many sample times on, and not before this time, as a
/// busy computer delays steps.
constexpr double sampleTimesWithoutStep = 3.0;
constexpr double shortestWithoutStep_ms = 250.0;

/// What keeps a running loop from controlling, or in manual mode from writing its value; or an empty text.
std::string faultOf(const SLoopStatus& loop, bool inner, bool manual)
{
    if (loop.sinceStep_ms >= std::max(sampleTimesWithoutStep * loop.sampleTime_ms, shortestWithoutStep_ms)) {
        return "has made no step for three of its sample times";
    }
    if (manual) {
        return {};
    }
    if (inner && !loop.enabled) {
        return "is disabled, although the loop above it is enabled";
    }
    if (loop.steps > 0 && std::isnan(loop.actualValue)) {
        return "has an actual value that is not a number";
    }
    return std::isnan(loop.controlValue) ? "calculates a control value that is not a number" : "";
}

std::unique_ptr<ILoopGraph> graphOf(IIoChannelInterface& channel, const std::vector<const SLoops*>& plugins)
{
    for (const SLoops* const plugin : plugins) {
        if (std::unique_ptr<ILoopGraph> graph{plugin->graphOf(channel)}) {
            return graph;
        }
    }
    return nullptr;
}

} // namespace

CController::CController(IIoChannelInterface& io, IControllerChannel& channel,
                         std::vector<const IIoChannelInterface*> referred, const SStart& start,
                         const std::vector<const SLoops*>& plugins)
    : name_(io.getName()), io_(io), channel_(channel), referred_(std::move(referred)), start_(start),
      loops_(graphOf(io, plugins))
{}

CController::~CController() = default;

bool CController::supervise(const SBadInputPolicy& policy)
{
    supervision_ = loops_ ? CInputSupervision::begin(*loops_, policy) : nullptr;
    return supervision_ != nullptr;
}

void CController::readLoops(std::vector<SLoopStatus>& status) const
{
    for (std::size_t index = 0; loops_ && index < loops_->loopCount(); ++index) {
        status.push_back(loops_->status(index));
        status.back().typeName = escapeControlCharacters(status.back().typeName);
    }
}

SControllerState CController::read() const
{
    SControllerState state;
    state.name = name_;
    state.unit = escapeControlCharacters(channel_.unit());
    state.enabled = channel_.isControlLoopEnabled();
    state.manual = manual_;
    readLoops(state.loops);
    if (!state.loops.empty()) {
        // the channel's own operations would lock the loop for each value, and read its input once more
        const SLoopStatus& outermost = state.loops.front();
        state.setPoint = channel_.getScaledValue(outermost.setPoint);
        state.actualValue = channel_.getScaledValue(outermost.actualValue);
        state.controlValue = channel_.getScaledValue(outermost.controlValue);
    } else {
        state.setPoint = channel_.getSetPoint();
        state.actualValue = channel_.readActualValue();
        state.controlValue = channel_.readControlValue();
    }
    state.health = healthOf(state);
    state.health.text = escapeControlCharacters(state.health.text); // may be a device's
    return state;
}

SHealth CController::healthOf(SControllerState& state) const
{
    if (state.enabled && supervision_) {
        if (supervision_->hasFailed()) {
            state.enabled = false;
            return {EHealth::Fault, "fault: " + name_ +
                                        ": calculated a control value that is not a number; disabled until "
                                        "it is enabled again"};
        }
        const std::optional<SHealth> health = supervision_->health();
        state.enabled = !supervision_->disables();
        if (health) {
            return *health;
        }
    }
    std::vector<const IIoChannelInterface*> watched{&io_};
    watched.insert(watched.end(), referred_.begin(), referred_.end());
    for (const IIoChannelInterface* channel : watched) {
        const std::string fault = channel->fault();
        if (!fault.empty()) {
            return {EHealth::Fault, "fault: " + channel->getName() + ": " + fault};
        }
    }
    if (!state.enabled) {
        return {EHealth::Off, "off"};
    }
    if (std::isnan(state.actualValue)) {
        return {EHealth::Fault, "fault: " + name_ + ": the actual value is not a number"};
    }
    // a value that is not a number stays in a loop's integral, and an output may have turned it into a 0
    for (std::size_t index = 0; index < state.loops.size(); ++index) {
        const std::string fault = faultOf(state.loops[index], index > 0, state.manual);
        if (!fault.empty()) {
            return {EHealth::Fault, "fault: " + name_ + ": loop " + std::to_string(index) + " " + fault};
        }
    }
    return {};
}

std::optional<std::pair<double, double>> CController::controlLimits() const
{
    const auto limits = loops_ ? controlLimitsOf(loops_->parameters(0)) : std::nullopt;
    if (!limits) {
        return std::nullopt;
    }
    // a scaling may turn them round
    return std::minmax({channel_.getScaledValue(limits->first), channel_.getScaledValue(limits->second)});
}

bool CController::hasStepped() const
{
    for (std::size_t index = 0; loops_ && index < loops_->loopCount(); ++index) {
        if (loops_->status(index).steps > 0) {
            return true;
        }
    }
    return false;
}

void CController::setEnabled(bool enabled)
{
    try {
        if (enabled && supervision_ && supervision_->hasFailed()) {
            channel_.setEnabled(false); // ends what the supervision does about it
        }
        channel_.setEnabled(enabled);
    } catch (...) {
        if (enabled) {
            try {
                channel_.setEnabled(false);
            } catch (...) {
                // the first failure is the one to report
            }
        }
        throw;
    }
}

void CController::setManual(bool manual)
{
    channel_.setManualMode(manual);
    manual_ = manual;
}

void CController::handOver(bool manual)
{
    if (!loops_) {
        setManual(manual);
        return;
    }
    try {
        loops_->handOver(manual);
    } catch (...) { // of an output, when the mode is in force already
        manual_ = loops_->status(0).manual;
        throw;
    }
    manual_ = manual;
}

bool CController::hasFailed() const
{
    return supervision_ && supervision_->hasFailed();
}

} // namespace Rvl
