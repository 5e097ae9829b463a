#pragma once

#include "host/types/TypeCatalogue.h"

#include <string>

namespace Rvl {

/// The manual of configurations, in Markdown: what a configuration consists of, and for every type of the
/// catalogue a table of its keys and a short piece of XML.
std::string configurationManual(const CTypeCatalogue& catalogue);

} // namespace Rvl
