#pragma once

#include "common/ObjectRegistryBase.h"
#include "platform/rivlink_core/Bus.h"
#include "platform/rivlink_core/Export.h"

#include <memory>
#include <string>

namespace Rvl {

/// The host's buses under their names.
class RIVLINK_CORE_EXPORT CBusRegistry : public CObjectRegistryBase<IBus>
{
public:
    CBusRegistry();
    ~CBusRegistry() override;

    /// Registers the bus under its name. Returns false, and destroys the new bus, if the name is taken.
    bool put(std::shared_ptr<IBus> bus);

    /// The bus of that name. Throws CConfigurationException if there is none.
    std::shared_ptr<IBus> get(const std::string& name) const;
};

} // namespace Rvl
