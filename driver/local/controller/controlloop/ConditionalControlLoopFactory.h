#pragma once

#include "driver/local/controller/common/ControlLoopFactory.h"
#include "driver/local/Export.h"

namespace Rvl {

/// Builds conditional loops (CConditionalControlLoop).
class RIVLINK_LOCAL_EXPORT CConditionalControlLoopFactory : public IControlLoopFactory
{
public:
    /// "Rvl::CConditionalControlLoop".
    std::string getTypeName() override;

protected:
    IControlLoop* createObjectImpl(const boost::property_tree::ptree& tree) override;
};

} // namespace Rvl
