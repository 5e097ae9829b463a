#pragma once

#include "host/configuration/Configuration.h"
#include "host/types/TypeCatalogue.h"

#include <string>

namespace Rvl {

/// The configuration as XML with the default of every absent key written out and without comments. Optional
/// sections that are absent stay absent, as the presence of some has an effect.
std::string effectiveConfiguration(const CConfiguration& configuration, const CTypeCatalogue& catalogue);

} // namespace Rvl
