#pragma once

#include "driver/local/controller/common/ControlLoopFactory.h"
#include "driver/local/Export.h"

namespace Rvl {

/// Builds PID loops (CPIDControlLoop).
class RIVLINK_LOCAL_EXPORT CPIDControlLoopFactory : public IControlLoopFactory
{
public:
    /// "Rvl::CPIDControlLoop".
    std::string getTypeName() override;

protected:
    IControlLoop* createObjectImpl(const boost::property_tree::ptree& tree) override;
};

} // namespace Rvl
