#pragma once

#include "host/types/TypeCatalogue.h"

#include <pugixml.hpp>

#include <optional>
#include <string>
#include <vector>

namespace Rvl {

/// The keys that the host itself reads: plug-ins, and the objects to build.
const SKeyNode& configurationFrame();
/// The same as a list, as types have it.
const std::vector<SKeyDescription>& configurationFrameKeys();

/// The type that a node names for itself: in its attribute "Type" (an object of the host) or in its child
/// "Type" (an element of a loop). Nothing if it names none.
std::optional<std::string> typeNameOf(const pugi::xml_node& node, SKeyDescription::eType kindOfNode);

/// The text at a path below a node, such as "PIDParam.<xmlattr>.Ti"; nothing if there is none.
std::optional<std::string> textAt(const pugi::xml_node& node, const std::string& path);

/// Whether the boolean key at a path below a node is there and true; an empty path names none.
bool isTrueAt(const pugi::xml_node& node, const std::string& path);

/// The buses, devices or channels of a configuration, in file order: objectsOf(root, "Devices", "Device").
std::vector<pugi::xml_node> objectsOf(const pugi::xml_node& root, const char* section, const char* element);

} // namespace Rvl
