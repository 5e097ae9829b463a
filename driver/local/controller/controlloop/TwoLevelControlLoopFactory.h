#pragma once

#include "driver/local/controller/common/ControlLoopFactory.h"
#include "driver/local/Export.h"

namespace Rvl {

/// Builds two-level loops (CTwoLevelControlLoop).
class RIVLINK_LOCAL_EXPORT CTwoLevelControlLoopFactory : public IControlLoopFactory
{
public:
    /// "Rvl::CTwoLevelControlLoop".
    std::string getTypeName() override;

protected:
    IControlLoop* createObjectImpl(const boost::property_tree::ptree& tree) override;
};

} // namespace Rvl
