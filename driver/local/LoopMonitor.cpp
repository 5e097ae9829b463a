#include "driver/local/LoopMonitor.h"

#include "common/Timeline.h"
#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/common/LoopStepObserver.h"
#include "driver/local/controller/controlloop/PIDControlLoop.h"
#include "driver/local/controller/controlloop/PT1Element.h"
#include "driver/local/controller/controlloopinput/AnalogChannelLoopIn.h"
#include "driver/local/LocalControllerChannel.h"
#include "driver/local/LoopCascade.h"
#include "driver/local/LoopTimeline.h"

#include <cmath>
#include <limits>
#include <optional>
#include <utility>

namespace Rvl {

namespace {

SLoopStatus::eSaturation saturationOf(double controlValue, const CPIDParameters& parameters)
{
    if (controlValue >= parameters.getMaxU()) {
        return SLoopStatus::AtMaximum;
    }
    return controlValue <= parameters.getMinU() ? SLoopStatus::AtMinimum : SLoopStatus::Free;
}

/// What only a PID loop has.
void addTerms(SLoopStatus& status, IControlLoop& loop)
{
    if (auto* const pid = dynamic_cast<CPIDControlLoop*>(&loop)) {
        status.proportional = pid->proportionalControlValue();
        status.integral = pid->integralControlValue();
        status.derivative = pid->derivativeControlValue();
        status.saturation =
            saturationOf(status.controlValue, static_cast<const CPIDParameters&>(pid->controlParameters()));
    } else {
        constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
        status.proportional = notANumber;
        status.integral = notANumber;
        status.derivative = notANumber;
    }
}

/// The value that an input has, if it can be had without moving the input.
std::optional<double> presentValue(ILoopInInterface* input)
{
    if (auto* const channelInput = dynamic_cast<CAnalogChannelLoopIn*>(input)) {
        return channelInput->readInputValue(); // what the channel announced last
    }
    if (const auto* const lag = dynamic_cast<const CPT1Element*>(input)) {
        return lag->lastOutput();
    }
    return std::nullopt;
}

} // namespace

/// One loop's statistics. The loop's own lock guards them.
class CLoopMonitor::CLoopWatch : public ILoopStepObserver
{
public:
    CLoopWatch(const CLocalControllerChannel& channel, std::shared_ptr<IControlLoop> loop, const Clock& clock)
        : channel_(channel), loop_(std::move(loop)), clock_(clock)
    {
        loop_->addStepObserver(this);
    }

    ~CLoopWatch() override { loop_->removeStepObserver(this); }

    CLoopWatch(const CLoopWatch&) = delete;
    CLoopWatch& operator=(const CLoopWatch&) = delete;

    void onStep(bool automatic) override
    {
        const SStep step{clock_(), channel_.runs(), loop_->sampleTime_ms()};
        if (lastStep_ && lastStep_->run == step.run) {
            addPeriod(std::chrono::duration<double, std::milli>(step.time - lastStep_->time).count(),
                      lastStep_->sampleTime_ms);
        }
        lastStep_ = step;
        wasAutomatic_ = automatic;
        ++steps_;
    }

    SLoopStatus status() const
    {
        const CControlLoopElementGuard guard(loop_.get());
        SLoopStatus result;
        result.typeName = loop_->getTypeName();
        result.sampleTime_ms = loop_->sampleTime_ms();
        result.enabled = loop_->isEnabled();
        result.manual = loop_->isManualMode();
        result.setPoint = loop_->readSetpoint();
        result.actualValue = actualValue();
        result.controlValue = loop_->readControlValue();
        addTerms(result, *loop_);
        result.steps = steps_;
        result.meanPeriodError_ms = periods_ ? periodErrorSum_ms_ / static_cast<double>(periods_) : 0.0;
        result.worstPeriodError_ms = worstPeriodError_ms_;
        result.sinceStep_ms = sinceStep_ms();
        result.overruns = overruns_;
        return result;
    }

private:
    double sinceStep_ms() const
    {
        if (!channel_.isActive()) {
            return 0.0;
        }
        const auto now = clock_();
        const std::uint64_t run = channel_.runs();
        if (runSeen_ != run) {
            runSeen_ = run;
            runSeenAt_ = now;
        }
        const auto since = lastStep_ && lastStep_->run == run ? lastStep_->time : runSeenAt_;
        return std::chrono::duration<double, std::milli>(now - since).count();
    }

    double actualValue() const
    {
        const bool calculates = wasAutomatic_ && loop_->isEnabled() && !loop_->isManualMode();
        const auto present = calculates ? std::nullopt : presentValue(loop_->input().get());
        return present.value_or(loop_->lastActualValue());
    }

    struct SStep
    {
        std::chrono::steady_clock::time_point time;
        std::uint64_t run;
        int sampleTime_ms;
    };

    void addPeriod(double period_ms, int sampleTime_ms)
    {
        const double error_ms = period_ms - sampleTime_ms;
        ++periods_;
        periodErrorSum_ms_ += error_ms;
        if (std::fabs(error_ms) > std::fabs(worstPeriodError_ms_)) {
            worstPeriodError_ms_ = error_ms;
        }
        // without a sample time the loop runs as fast as it can and has no step to lose
        if (sampleTime_ms > 0 && period_ms >= 2.0 * sampleTime_ms) {
            ++overruns_;
        }
    }

    const CLocalControllerChannel& channel_;
    const std::shared_ptr<IControlLoop> loop_;
    const Clock& clock_;

    std::optional<SStep> lastStep_;
    bool wasAutomatic_ = false; ///< the last step
    mutable std::uint64_t runSeen_ = 0;
    mutable std::chrono::steady_clock::time_point runSeenAt_;
    std::uint64_t steps_ = 0;
    std::uint64_t periods_ = 0;
    double periodErrorSum_ms_ = 0.0;
    double worstPeriodError_ms_ = 0.0;
    std::uint64_t overruns_ = 0;
};

std::chrono::steady_clock::time_point CLoopMonitor::now()
{
    using SteadyClock = std::chrono::steady_clock;
    const ITimeline* const timeline = loopTimeline();
    return timeline ? SteadyClock::time_point(
                          std::chrono::duration_cast<SteadyClock::duration>(timeline->monotonic()))
                    : SteadyClock::now();
}

CLoopMonitor::CLoopMonitor(CLocalControllerChannel& channel, Clock clock) : clock_(std::move(clock))
{
    for (const auto& loop : loopsFrom(channel.controlLoop())) {
        watches_.push_back(std::make_unique<CLoopWatch>(channel, loop, clock_));
    }
}

CLoopMonitor::~CLoopMonitor() = default;

std::size_t CLoopMonitor::loopCount() const
{
    return watches_.size();
}

SLoopStatus CLoopMonitor::status(std::size_t index) const
{
    return watches_.at(index)->status();
}

} // namespace Rvl
