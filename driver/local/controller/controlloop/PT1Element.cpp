#include "driver/local/controller/controlloop/PT1Element.h"

#include "common/Timeline.h"
#include "common/TreeValues.h"
#include "driver/local/LoopTimeline.h"

#include <boost/optional.hpp>
#include <boost/property_tree/ptree.hpp>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>

namespace Rvl {

namespace {

int systemTick_ms()
{
    const ITimeline* const timeline = loopTimeline();
    const std::chrono::nanoseconds now =
        timeline ? timeline->monotonic() : std::chrono::steady_clock::now().time_since_epoch();
    const auto now_ms = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    return static_cast<int>(static_cast<std::uint32_t>(now_ms));
}

std::atomic<CPT1Element::TickFunction*> tickFunctionInForce{&systemTick_ms};

int tick_ms()
{
    return tickFunctionInForce.load()();
}

/// Right across a wrap-around of the tick, and never negative: with a negative time y would diverge. After
/// 2^32 ms (49 days) it begins anew, when y has long become u.
std::uint32_t elapsed_ms(int since, int now)
{
    return static_cast<std::uint32_t>(now) - static_cast<std::uint32_t>(since);
}

double timeConstantFrom(const boost::property_tree::ptree& tree)
{
    return treeValueIfThere(tree, "TimeConstant_s", 1.0);
}

} // namespace

CPT1Element::CPT1Element(const boost::property_tree::ptree& tree)
    : timeConstant_s_(timeConstantFrom(tree)), input_(0.0), output_(0.0), base_(std::exp(1.0)),
      lastWriteTick_ms_(tick_ms())
{}

CPT1Element::~CPT1Element() = default;

double CPT1Element::readInputValue()
{
    CControlLoopElementGuard guard(this);
    const double elapsed = elapsed_ms(lastWriteTick_ms_, tick_ms());
    const double remaining = std::pow(base_, -(elapsed / 1000.0 / timeConstant_s_));
    output_ = (1.0 - remaining) * (input_ - output_) + output_;
    return output_;
}

void CPT1Element::writeOutputValue(double value)
{
    CControlLoopElementGuard guard(this);
    input_ = value;
    lastWriteTick_ms_ = tick_ms();
}

double CPT1Element::lastOutput() const
{
    CControlLoopElementGuard guard(this);
    return output_;
}

void CPT1Element::setTickFunction(TickFunction* tickFunction)
{
    tickFunctionInForce.store(tickFunction ? tickFunction : &systemTick_ms);
}

} // namespace Rvl
