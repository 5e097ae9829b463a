#pragma once

#include "host/types/TypeCatalogue.h"

#include <string>

namespace Rvl {

/// What a key's value is confined to, for tables: ">= 0, <= 100", "A, B or C" for a choice, the kinds of an
/// element, the name server of a reference. Empty if it is not confined.
std::string keyRange(const SKeyDescription& key);

/// What the key's absence means, for tables: an empty text as `""`; empty if it has no default.
std::string keyDefault(const SKeyDescription& key);

/// Whether the key must be there, for tables: "yes", "no", or "unless" and the key in whose place it stands.
std::string keyRequired(const SKeyDescription& key);

/// A limit of the key as XML Schema and people read it: whole numbers in full.
std::string keyLimit(const SKeyDescription& key, double limit);

/// Whether the key is a value, in contrast to an element with content of its own.
bool isValue(const SKeyDescription& key);

} // namespace Rvl
