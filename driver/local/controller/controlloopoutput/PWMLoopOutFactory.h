#pragma once

#include "driver/local/controller/controlloopoutput/LoopOutFactory.h"
#include "driver/local/Export.h"

#include <string>

namespace Rvl {

/// Builds CPWMLoopOut, which see for the configuration.
class RIVLINK_LOCAL_EXPORT CPWMLoopOutFactory : public ILoopOutFactory
{
public:
    /// "Rvl::CPWMLoopOut".
    std::string getTypeName() override;

protected:
    ILoopOut* createObjectImpl(const boost::property_tree::ptree& tree) override;
};

} // namespace Rvl
