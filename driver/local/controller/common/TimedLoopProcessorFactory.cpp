#include "driver/local/controller/common/TimedLoopProcessorFactory.h"

#include "driver/local/controller/common/TimedLoopProcessor.h"

namespace Rvl {

std::string CTimedLoopProcessorFactory::getTypeName()
{
    return "Rvl::CTimedControlLoopProcessor";
}

ILoopProcessor* CTimedLoopProcessorFactory::createObjectImpl()
{
    return new CTimedLoopProcessor;
}

} // namespace Rvl
