#pragma once

#include "driver/local/controller/common/LoopProcessorFactory.h"
#include "driver/local/Export.h"

namespace Rvl {

/// Builds processors without loops (CTimedLoopProcessor).
class RIVLINK_LOCAL_EXPORT CTimedLoopProcessorFactory : public ILoopProcessorFactory
{
public:
    /// "Rvl::CTimedControlLoopProcessor", which is not the name of the class.
    std::string getTypeName() override;

protected:
    ILoopProcessor* createObjectImpl() override;
};

} // namespace Rvl
