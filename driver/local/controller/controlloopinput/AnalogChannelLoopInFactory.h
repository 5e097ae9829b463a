#pragma once

#include "driver/local/controller/controlloopinput/LoopInFactory.h"
#include "driver/local/Export.h"

#include <string>

namespace Rvl {

/// Builds CAnalogChannelLoopIn, which see for the configuration.
class RIVLINK_LOCAL_EXPORT CAnalogChannelLoopInFactory : public ILoopInFactory
{
public:
    /// "Rvl::CAnalogChannelLoopIn".
    std::string getTypeName() override;

protected:
    ILoopIn* createObjectImpl(const boost::property_tree::ptree& tree) override;
};

} // namespace Rvl
