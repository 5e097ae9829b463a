#pragma once

#include "host/types/TypeCatalogue.h"

#include <pugixml.hpp>

#include <string>

namespace Rvl {

/// The name of the element in which an object or element of that kind may stand: "Device", "ControlLoop",
/// "Output". Empty if it may stand nowhere.
std::string elementOfKind(const CTypeCatalogue& catalogue, const std::string& kind);

/// Appends a short node of the type to `parent`: the required keys, the optional ones for which the
/// descriptions give an example, or else the first of those with a default. Elements within are complete.
pugi::xml_node appendShortNode(pugi::xml_node parent, const CTypeCatalogue& catalogue,
                               const STypeDescription& type);

/// The short node as text for display: two blanks of indentation per level, long tags wrapped.
std::string shortXml(const CTypeCatalogue& catalogue, const STypeDescription& type);

} // namespace Rvl
