#pragma once

#include "driver/local/LocalControllerChannelFactory.h"

namespace Rvl {

/// Builds CVelonixController from the configuration of a local controller channel. The key
/// "PwmOutputEnable" is read by the channel's setProperties().
class RIVLINK_LOCAL_EXPORT CVelonixControlChannelFactory : public CLocalControllerChannelFactory
{
public:
    /// "Rvl::CVelonixController".
    std::string getTypeName() override;

protected:
    CLocalControllerChannel* createControlChannelObject(const std::string& name,
                                                        std::shared_ptr<IControlLoop> loop) const override;
};

} // namespace Rvl
