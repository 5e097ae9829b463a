#pragma once

#include "host/types/TypeCatalogue.h"

#include <string>
#include <vector>

namespace Rvl {

/// The types as text: each with its kind, plug-in, meaning and a table of its keys, inherited ones
/// included.
std::string typeReport(const std::vector<const STypeDescription*>& types);

/// The same as a JSON document {"types": [...]}, with the fields of the description files.
std::string typeReportAsJson(const std::vector<const STypeDescription*>& types);

} // namespace Rvl
