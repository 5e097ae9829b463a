#pragma once

#include "host/configuration/Configuration.h"
#include "host/configuration/Fault.h"
#include "host/types/TypeCatalogue.h"

namespace Rvl {

/// Adds a fault for each bus and device of the configuration that its type's description calls real: virtual
/// time cannot make it wait.
void refuseRealDevices(const CConfiguration& configuration, const CTypeCatalogue& catalogue,
                       CFaultList& faults);

} // namespace Rvl
