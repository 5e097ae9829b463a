#pragma once

#include "driver/local/controller/common/LoopElements.h"
#include "driver/local/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

namespace Rvl {

class CAnalogOutChannel;

/// Writes the control value, unchanged, to an analog output channel, whose safe write limits it. The value
/// stays on the channel when the loop is disabled or destroyed.
/// The channel is not owned and must outlive the output's use.
class RIVLINK_LOCAL_EXPORT CAnalogChannelLoopOut : public ILoopOut
{
public:
    /// Reads "Channel", the name of an analog output (required: the property tree's bad-path error if it is
    /// missing). Throws CConfigurationException if no analog output bears the name.
    explicit CAnalogChannelLoopOut(const boost::property_tree::ptree& tree);
    /// From the channel itself. Null is allowed, but then a channel must be set before the first write.
    explicit CAnalogChannelLoopOut(CAnalogOutChannel* channel);

    /// Writes to `channel` from now on.
    void setAnalogOutputChannel(CAnalogOutChannel* channel);

    void writeOutputValue(double value) override;

private:
    CAnalogOutChannel* channel_;
};

} // namespace Rvl
