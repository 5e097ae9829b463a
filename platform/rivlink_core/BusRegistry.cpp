#include "platform/rivlink_core/BusRegistry.h"

#include "common/LoggedThrow.h"
#include "platform/rivlink_common/ConfigurationException.h"

namespace Rvl {

CBusRegistry::CBusRegistry() = default;

CBusRegistry::~CBusRegistry() = default;

bool CBusRegistry::put(std::shared_ptr<IBus> bus)
{
    const std::string name = bus->getName();
    return insert(name, std::move(bus));
}

std::shared_ptr<IBus> CBusRegistry::get(const std::string& name) const
{
    std::shared_ptr<IBus> bus = find(name);
    if (!bus) {
        RVL_THROW(CConfigurationException, "Bus " + name + " does not exist in bus registry");
    }
    return bus;
}

} // namespace Rvl
