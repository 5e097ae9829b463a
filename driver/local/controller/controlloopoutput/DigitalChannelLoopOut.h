#pragma once

#include "driver/local/controller/common/LoopElements.h"
#include "driver/local/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

namespace Rvl {

class CDigitalOutChannel;

/// Switches a digital output channel: off for a control value of exactly 0 (of either sign), on for every
/// other one, negative values and NaN included. The state stays on the channel when the loop is disabled or
/// destroyed.
/// The channel is not owned and must outlive the output's use.
class RIVLINK_LOCAL_EXPORT CDigitalChannelLoopOut : public ILoopOut
{
public:
    /// Reads "Channel", the name of a digital output (required: the property tree's bad-path error if it is
    /// missing). Throws CConfigurationException if no digital output bears the name.
    explicit CDigitalChannelLoopOut(const boost::property_tree::ptree& tree);
    /// From the channel itself. Null is allowed, but then nothing may be written.
    explicit CDigitalChannelLoopOut(CDigitalOutChannel* channel);

    void writeOutputValue(double value) override;

private:
    CDigitalOutChannel* const channel_;
};

} // namespace Rvl
