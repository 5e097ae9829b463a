#include "driver/local/controller/common/LoopProcessorFactory.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <stdexcept>

namespace Rvl {

ILoopProcessorFactory::ILoopProcessorFactory()
{
    LOG4CPLUS_TRACE(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("CtorDtorLogger")),
                    "CTOR IControlLoopProcessorFactory");
}

ILoopProcessorFactory::~ILoopProcessorFactory()
{
    LOG4CPLUS_TRACE(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("CtorDtorLogger")),
                    "DTOR IControlLoopProcessorFactory");
}

ILoopProcessorFactory::ILoopProcessorFactory(const ILoopProcessorFactory&) = default;
ILoopProcessorFactory& ILoopProcessorFactory::operator=(const ILoopProcessorFactory&) = default;

ILoopProcessor* ILoopProcessorFactory::createObject()
{
    if (ILoopProcessor* object = createObjectImpl()) {
        return object;
    }
    const std::string message = "Could not create object of type " + getTypeName();
    // the name is read again, but only for a line that is written
    LOG4CPLUS_ERROR(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("ExceptionLogger")),
                    "Exception "
                        << "std::runtime_error"
                        << " thrown: "
                        << "Could not create object of type " << getTypeName());
    throw std::runtime_error(message);
}

} // namespace Rvl
