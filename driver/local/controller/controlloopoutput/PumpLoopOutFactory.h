#pragma once

#include "driver/local/controller/controlloopoutput/LoopOutFactory.h"
#include "driver/local/Export.h"

#include <string>

namespace Rvl {

/// Builds CPumpLoopOut, which see for the configuration.
class RIVLINK_LOCAL_EXPORT CPumpLoopOutFactory : public ILoopOutFactory
{
public:
    /// "Rvl::CPumpLoopOut".
    std::string getTypeName() override;

protected:
    ILoopOut* createObjectImpl(const boost::property_tree::ptree& tree) override;
};

} // namespace Rvl
