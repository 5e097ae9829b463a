#include "driver/local/LoopSupervisor.h"

#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/common/ControlParameters.h"
#include "driver/local/controller/common/LoopStepGuard.h"
#include "driver/local/controller/common/LoopStepObserver.h"
#include "driver/local/controller/controlloop/PIDControlLoop.h"
#include "driver/local/controller/controlloop/TwoLevelControlLoop.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>

namespace Rvl {

/// One loop with what happened to it. The loop's own lock guards all but the state.
class CLoopSupervisor::CSupervisedLoop : public ILoopStepGuard, public ILoopStepObserver
{
public:
    CSupervisedLoop(const CLoopSupervisor& supervisor, std::size_t index, std::shared_ptr<IControlLoop> loop)
        : supervisor_(supervisor), index_(index), loop_(std::move(loop))
    {}

    void begin()
    {
        loop_->setStepGuard(this);
        loop_->addStepObserver(this);
    }
    /// Returns once no step uses it any more.
    void end()
    {
        loop_->removeStepObserver(this);
        loop_->setStepGuard(nullptr);
    }

    void beforeReading() override { inputsAreGood_ = supervisor_.inputsAreGood(index_, calculated_); }

    bool mayCalculate(double actualValue) override
    {
        if (supervisor_.hasFailed()) {
            loop_->driveControlValue(loop_->controlParameters().getDisabledU());
            state_ = Failed;
            return false;
        }
        if (!inputsAreGood_ || !supervisor_.check_.isGoodValue(actualValue)) {
            const bool begun = supervisor_.hasBegun(index_);
            if (begun) {
                act();
            } else if (fixedValueStands_) {
                loop_->driveControlValue(loop_->controlParameters().getDisabledU());
            }
            fixedValueStands_ = false;
            state_ = begun ? Acting : Waiting;
            return false;
        }
        if (acting_) {
            resume(actualValue);
        }
        calculated_ = true;
        fixedValueStands_ = false;
        acting_ = false;
        state_ = Calculating;
        return true;
    }

    bool isGoodValue(double actualValue) const override
    {
        return supervisor_.check_.isGoodValue(actualValue);
    }

    void passedStep() override { state_ = Idle; }

    void onStep(bool automatic) override
    {
        if (automatic && state_ == Calculating && std::isnan(loop_->readControlValue())) {
            failed_ = true;
            loop_->driveControlValue(loop_->controlParameters().getDisabledU());
            state_ = Failed;
        }
    }

    void wroteFixedValue() override { fixedValueStands_ = true; }

    void switched() override
    {
        failed_ = false;
        calculated_ = false;
        fixedValueStands_ = false;
        acting_ = false;
        state_ = Waiting;
    }

    IControlLoop& loop() const { return *loop_; }
    eState state() const { return state_; }
    bool hasCalculated() const { return calculated_; }
    bool hasFailed() const { return failed_; }

private:
    void act()
    {
        if (!acting_) {
            acting_ = true;
            controlValueBefore_ = loop_->readControlValue();
        }
        const SBadInputReaction& reaction = supervisor_.reaction_;
        if (reaction.action == SBadInputReaction::Disable) {
            loop_->driveControlValue(loop_->controlParameters().getDisabledU());
        } else if (reaction.action == SBadInputReaction::Write && index_ + 1 == supervisor_.loops_.size()) {
            loop_->driveControlValue(reaction.value);
        }
    }

    void resume(double actualValue)
    {
        if (auto* const pid = dynamic_cast<CPIDControlLoop*>(loop_.get())) {
            pid->resume(actualValue);
        } else if (auto* const twoLevel = dynamic_cast<CTwoLevelControlLoop*>(loop_.get())) {
            twoLevel->resume(controlValueBefore_);
        }
    }

    const CLoopSupervisor& supervisor_;
    const std::size_t index_;
    const std::shared_ptr<IControlLoop> loop_;
    std::atomic<eState> state_{Waiting};
    bool inputsAreGood_ =
        false; ///< before the actual value was read: a stale one may be followed by a good one
    std::atomic<bool> calculated_{false}; ///< since the loop was enabled
    std::atomic<bool> failed_{false};     ///< its control value was not a number, since it was enabled
    bool fixedValueStands_ = false;       ///< manual mode drove since then, and nothing else
    bool acting_ = false;
    double controlValueBefore_ = 0.0;
};

CLoopSupervisor::CLoopSupervisor(const std::vector<std::shared_ptr<IControlLoop>>& loops,
                                 const IInputCheck& check, const SBadInputReaction& reaction)
    : check_(check), reaction_(reaction)
{
    for (const auto& loop : loops) {
        loops_.push_back(std::make_unique<CSupervisedLoop>(*this, loops_.size(), loop));
    }
    for (const auto& supervised : loops_) {
        supervised->begin();
    }
}

CLoopSupervisor::~CLoopSupervisor()
{
    // all before the first one is destroyed, as a step of one loop reads the state of the others
    for (const auto& supervised : loops_) {
        supervised->end();
    }
}

ILoopSupervision::eState CLoopSupervisor::state(std::size_t loop) const
{
    return loops_.at(loop)->state();
}

bool CLoopSupervisor::hasBegun(std::size_t loop) const
{
    // what is disabled or written goes to the innermost loop's output, whichever loop was the first to
    // calculate
    const std::size_t first = reaction_.action == SBadInputReaction::Hold ? loop : 0;
    for (std::size_t other = first; other <= loop; ++other) {
        if (loops_[other]->hasCalculated()) {
            return true;
        }
    }
    return false;
}

bool CLoopSupervisor::hasFailed() const
{
    return std::any_of(loops_.begin(), loops_.end(), [](const auto& loop) { return loop->hasFailed(); });
}

bool CLoopSupervisor::inputsAreGood(std::size_t loop, bool calculated) const
{
    // loops above still count where everything stops, and before anything is driven
    const bool all = !calculated || reaction_.action != SBadInputReaction::Hold;
    for (std::size_t other = all ? 0 : loop; other < loops_.size(); ++other) {
        if (!loops_[other]->loop().isManualMode() && !check_.isGoodInput(other)) {
            return false;
        }
    }
    return true;
}

} // namespace Rvl
