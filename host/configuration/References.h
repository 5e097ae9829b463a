#pragma once

#include "host/types/TypeCatalogue.h"

#include <pugixml.hpp>

#include <string>
#include <vector>

namespace Rvl {

/// The use of another object's name.
struct SReference
{
    std::string nameServer;
    std::string name;
};

/// The names that an object's node refers to, in its own keys and in those of the elements within it.
std::vector<SReference> referencesOf(const CTypeCatalogue& catalogue, const STypeDescription& type,
                                     const pugi::xml_node& node);

/// Whether objects of the type are built on channels: they have elements, or refer to something other than a
/// device or a bus. Such objects are built after the others.
bool isBuiltOnChannels(const STypeDescription& type);

} // namespace Rvl
