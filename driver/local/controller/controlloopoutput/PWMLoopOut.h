#pragma once

#include "driver/local/controller/common/LoopElements.h"
#include "driver/local/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

namespace Rvl {

class CDigitalOutChannel;

/// Writes the control value as the duty cycle of a digital output channel in PWM mode
/// (dutyCycleFromControlValue(); the channel's safe write limits it). The duty cycle stays on the channel
/// when the loop is disabled or destroyed.
/// The channel is not owned and must outlive the output's use.
class RIVLINK_LOCAL_EXPORT CPWMLoopOut : public ILoopOut
{
public:
    /// Reads "Channel", the name of a digital output (required: the property tree's bad-path error if it is
    /// missing). Throws CConfigurationException if no digital output bears the name.
    explicit CPWMLoopOut(const boost::property_tree::ptree& tree);
    /// From the channel itself. Null is allowed, but then neither init() nor a write may be called.
    explicit CPWMLoopOut(CDigitalOutChannel* channel);

    /// Takes the channel into PWM mode. Must have been called before the first write.
    void init() override;
    void writeOutputValue(double value) override;

private:
    CDigitalOutChannel* const channel_;
};

} // namespace Rvl
