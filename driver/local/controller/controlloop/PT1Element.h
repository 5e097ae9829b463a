#pragma once

#include "driver/local/controller/common/LoopElements.h"
#include "driver/local/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

namespace Rvl {

/// First-order lag: what is written comes out delayed when read. With the value last written u, the time
/// since that write dt and the time constant T, each read gives
///
///     y = (1 - exp(-dt / T)) (u - y) + y
///
/// y and u start at 0. dt counts from the last write, not from the last read: the first read after a write is
/// exactly that of a lag, and each further read applies the whole time since the write once more, so y comes
/// the nearer to u the more often it is read. Behind a loop that writes a new value every period it is a
/// discrete lag of that period. T = 0 makes y jump to u, or become NaN if no time has passed; with a negative
/// T, y diverges from u.
///
/// As a loop's output and input in one it is a simulated process.
class RIVLINK_LOCAL_EXPORT CPT1Element : public ILoopInOut
{
public:
    /// Milliseconds since an arbitrary start, going on as the wall clock does. May wrap around.
    using TickFunction = int();

    /// From the element's node of the configuration: the optional element "TimeConstant_s" (1.0 if absent),
    /// in seconds. For a value that does not convert the property tree's error passes.
    explicit CPT1Element(const boost::property_tree::ptree& tree);
    ~CPT1Element() override;

    double readInputValue() override;
    void writeOutputValue(double value) override;
    /// y as it was read last, without moving it.
    double lastOutput() const;

    /// Puts another tick in the place of the system's for every element, or the system's again if it is
    /// null.
    static void setTickFunction(TickFunction* tickFunction);

private:
    double timeConstant_s_;
    double input_;
    double output_;
    double base_; ///< of the exponential: Euler's number
    int lastWriteTick_ms_;
};

} // namespace Rvl
