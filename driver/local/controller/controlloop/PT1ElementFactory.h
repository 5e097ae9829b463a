#pragma once

#include "driver/local/controller/common/LoopInOutFactory.h"
#include "driver/local/Export.h"

namespace Rvl {

/// Builds first-order lags (CPT1Element).
class RIVLINK_LOCAL_EXPORT CPT1ElementFactory : public ILoopInOutFactory
{
public:
    /// "Rvl::CPT1Element".
    std::string getTypeName() override;

protected:
    ILoopInOut* createObjectImpl(const boost::property_tree::ptree& tree) override;
};

} // namespace Rvl
