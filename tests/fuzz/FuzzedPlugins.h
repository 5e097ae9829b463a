#pragma once

#include "host/types/TypeCatalogue.h"

#include <boost/property_tree/ptree.hpp>

namespace Rvl::Test {

/// The plug-ins of this project, linked to the program, with the descriptions of their types: what the host
/// has once it has loaded them. One for the program's life.
class CFuzzedPlugins
{
public:
    static const CFuzzedPlugins& instance();

    const CTypeCatalogue& catalogue() const { return catalogue_; }
    /// Takes the bus registry back to the bus that the plug-ins bring along.
    static void resetBuses();

private:
    CFuzzedPlugins();

    CTypeCatalogue catalogue_;
};

} // namespace Rvl::Test
