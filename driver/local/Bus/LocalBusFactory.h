#pragma once

#include "driver/local/Export.h"
#include "platform/rivlink_core/BusFactory.h"

#include <string>

namespace Rvl {

/// Builds local buses. Reads "BusName", the bus's name (required: the property tree's bad-path error if it
/// is missing).
class RIVLINK_LOCAL_EXPORT CLocalBusFactory : public IBusFactory
{
public:
    CLocalBusFactory();
    ~CLocalBusFactory() override;
    CLocalBusFactory(const CLocalBusFactory&);
    CLocalBusFactory& operator=(const CLocalBusFactory&);

    /// "Rvl::CLocalBus".
    std::string getTypeName() override;

protected:
    IBus* createObjectImpl(const boost::property_tree::ptree& tree) override;
};

} // namespace Rvl
