#pragma once

#include "driver/local/LocalControllerChannel.h"

namespace Rvl {

class CDigitalOutChannel;

/// The local controller channel of a chip device whose PWM output needs a digital output to release it: that
/// output is switched on before the loop is enabled and off before it is disabled. stop() and the host's
/// aboutToDisconnect signal leave it as it is.
class RIVLINK_LOCAL_EXPORT CVelonixController : public CLocalControllerChannel
{
public:
    /// As CLocalControllerChannel, without an output to switch.
    CVelonixController(const std::string& name, std::shared_ptr<IControlLoop> loop);

    /// Reads "PwmOutputEnable", the name of the digital output to switch (required: the property tree's
    /// bad-path error if it is missing). Throws CConfigurationException if no digital output bears the name.
    /// Nothing is switched yet; when it throws, the output so far is kept.
    void setProperties(const boost::property_tree::ptree& tree) override;
    /// Switches the output, if there is one, and then the loop. If switching the output throws, the loop
    /// stays as it is; if switching the loop throws, the output stays as it was switched.
    void setEnabled(bool enable) override;

private:
    CDigitalOutChannel* pwmOutputEnable_ = nullptr; ///< not owned
};

} // namespace Rvl
