#pragma once

#include "driver/local/controller/controlloopoutput/LoopOutFactory.h"
#include "driver/local/Export.h"

#include <string>

namespace Rvl {

/// Builds CAnalogChannelLoopOut, which see for the configuration.
class RIVLINK_LOCAL_EXPORT CAnalogChannelLoopOutFactory : public ILoopOutFactory
{
public:
    /// "Rvl::CAnalogChannelLoopOut".
    std::string getTypeName() override;

protected:
    ILoopOut* createObjectImpl(const boost::property_tree::ptree& tree) override;
};

} // namespace Rvl
