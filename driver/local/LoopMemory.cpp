#include "driver/local/LoopMemory.h"

#include "common/LoggedThrow.h"
#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/controlloop/ConditionalControlLoop.h"
#include "driver/local/controller/controlloop/PIDControlLoop.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

namespace Rvl {

namespace {

/// With the loop's lock held.
std::vector<double> valuesOf(IControlLoop& loop)
{
    std::vector<double> values{loop.readSetpoint(), loop.readControlValue()};
    if (const auto* const pid = dynamic_cast<const CPIDControlLoop*>(&loop)) {
        const CPIDControlLoop::SMemory memory = pid->memory();
        values.insert(values.end(), {memory.error, memory.actualValue, memory.proportional, memory.integral,
                                     memory.derivative});
    } else if (const auto* const conditional = dynamic_cast<const CConditionalControlLoop*>(&loop)) {
        values.push_back(conditional->isOutOfRange() ? 1.0 : 0.0);
    }
    return values;
}

} // namespace

SLoopMemory loopMemory(IControlLoop& loop)
{
    const CControlLoopElementGuard guard(&loop);
    return {loop.getTypeName(), valuesOf(loop)};
}

void restoreLoopMemory(IControlLoop& loop, const SLoopMemory& memory)
{
    const CControlLoopElementGuard guard(&loop);
    const std::vector<double>& values = memory.values;
    if (memory.typeName != loop.getTypeName() || values.size() != valuesOf(loop).size()) {
        RVL_THROW(std::invalid_argument, "Memory is not of type " + loop.getTypeName());
    }
    if (!std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); })) {
        RVL_THROW(std::invalid_argument, "Memory must consist of finite numbers");
    }
    loop.writeSetpoint(values[0]);
    if (auto* const pid = dynamic_cast<CPIDControlLoop*>(&loop)) {
        pid->setMemory({values[2], values[3], values[4], values[5], values[6]});
    } else if (auto* const conditional = dynamic_cast<CConditionalControlLoop*>(&loop)) {
        conditional->setOutOfRange(values[2] != 0.0);
    }
    if (loop.isEnabled() && !loop.isManualMode()) {
        loop.driveControlValue(values[1]); // last: an output may throw
    }
}

} // namespace Rvl
