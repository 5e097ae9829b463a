#pragma once

#include "driver/local/controller/controlloopoutput/LoopOutFactory.h"
#include "driver/local/Export.h"

#include <string>

namespace Rvl {

/// Builds CPWMTwoQuadrantLoopOut, which see for the configuration.
class RIVLINK_LOCAL_EXPORT CPWMTwoQuadrantLoopOutFactory : public ILoopOutFactory
{
public:
    /// "Rvl::CPWMTwoQuadrantLoopOut".
    std::string getTypeName() override;

protected:
    ILoopOut* createObjectImpl(const boost::property_tree::ptree& tree) override;
};

} // namespace Rvl
