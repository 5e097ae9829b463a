#pragma once

#include "host/types/TypeCatalogue.h"

#include <string>

namespace Rvl {

/// An XML Schema (1.0) of the configurations that can be written with the types of the catalogue, for editors
/// that complete and mark as one types.
///
/// In that language the content of an element cannot depend on the type that it names. So an element has the
/// keys of all types that may stand there: what is a key of none of them is marked, and so is what the keys
/// of all of them rule out. Whether a key belongs to the type that is named there, and whether the names of
/// other objects exist, is left to the check by the host.
std::string configurationSchema(const CTypeCatalogue& catalogue);

} // namespace Rvl
