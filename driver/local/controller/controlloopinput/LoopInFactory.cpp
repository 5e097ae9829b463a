#include "driver/local/controller/controlloopinput/LoopInFactory.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <stdexcept>

namespace Rvl {

ILoopInFactory::ILoopInFactory()
{
    LOG4CPLUS_TRACE(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("CtorDtorLogger")),
                    "CTOR IControlLoopInputFactory");
}

ILoopInFactory::~ILoopInFactory()
{
    LOG4CPLUS_TRACE(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("CtorDtorLogger")),
                    "DTOR IControlLoopInputFactory");
}

ILoopInFactory::ILoopInFactory(const ILoopInFactory&) = default;
ILoopInFactory& ILoopInFactory::operator=(const ILoopInFactory&) = default;

ILoopIn* ILoopInFactory::createObject(const boost::property_tree::ptree& tree)
{
    if (ILoopIn* object = createObjectImpl(tree)) {
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
