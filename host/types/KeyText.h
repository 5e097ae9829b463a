#pragma once

#include "host/types/TypeCatalogue.h"

#include <string>

namespace Rvl {

/// The range of a key's values, for tables: ">= 0, <= 100", "A, B or C" for a choice, the kinds of an
/// element, the name server of a reference. Empty if it is not limited.
std::string keyRange(const SKeyDescription& key);

/// The key's default, for tables: an empty text as `""`, "unlimited" for one that stands for no limit; empty
/// if it has no default.
std::string keyDefault(const SKeyDescription& key);

/// Whether the key is required, for tables: "yes", "no", or "unless" and the key that makes it optional.
std::string keyRequired(const SKeyDescription& key);

/// A limit of the key as a decimal number: whole numbers in full.
std::string keyLimit(const SKeyDescription& key, double limit);

/// Whether the key is a value, in contrast to an element with content of its own.
bool isValue(const SKeyDescription& key);

} // namespace Rvl
