#include "driver/local/Bus/LocalBusFactory.h"

#include "driver/local/Bus/LocalBus.h"

#include <boost/property_tree/ptree.hpp>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

namespace Rvl {

CLocalBusFactory::CLocalBusFactory() = default;

CLocalBusFactory::~CLocalBusFactory()
{
    LOG4CPLUS_TRACE(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("CtorDtorLogger")),
                    "DTOR CLocalBusFactory");
}

CLocalBusFactory::CLocalBusFactory(const CLocalBusFactory&) = default;

CLocalBusFactory& CLocalBusFactory::operator=(const CLocalBusFactory&) = default;

std::string CLocalBusFactory::getTypeName()
{
    static const std::string typeName("Rvl::CLocalBus");
    return typeName;
}

IBus* CLocalBusFactory::createObjectImpl(const boost::property_tree::ptree& tree)
{
    return new CLocalBus(tree.get<std::string>("BusName"));
}

} // namespace Rvl
