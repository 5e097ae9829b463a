#pragma once

#include "common/LoggedThrow.h"
#include "common/ObjectRegistryBase.h"
#include "platform/rivlink_common/ConfigurationException.h"

#include <memory>
#include <string>

namespace Rvl {

/// Factories under their type names. `T` is a factory interface with `std::string getTypeName()`.
template <class T> class CFactoryRegistry : public CObjectRegistryBase<T>
{
public:
    /// Registers the factory under its type name. Returns false, and destroys the new factory, if the name is
    /// taken.
    /// Throws CConfigurationException if the type name is empty.
    bool put(std::shared_ptr<T> factory)
    {
        // logged before the checks, so that the log also shows the factories that are refused
        LOG4CPLUS_INFO(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("EnvLogger")),
                       "Factory " << factory->getTypeName() << " registered in registry");
        const std::string typeName = factory->getTypeName();
        if (typeName.empty()) {
            RVL_THROW(CConfigurationException, "Registration of device with empty name not possible");
        }
        return this->insert(typeName, std::move(factory));
    }

    /// The factory of that type name, never empty. Throws CConfigurationException if there is none.
    std::shared_ptr<T> get(const std::string& typeName) const
    {
        std::shared_ptr<T> factory = this->find(typeName);
        if (!factory) {
            RVL_THROW(CConfigurationException, "Factory " + typeName + " does not exist in factory registry");
        }
        return factory;
    }
};

} // namespace Rvl
