#pragma once

#include "host/Configuration.h"
#include "host/Fault.h"
#include "host/PluginLoader.h"
#include "host/PluginPath.h"
#include "host/Session.h"
#include "host/TypeCatalogue.h"

#include <filesystem>

namespace Rvl {

/// A configuration with everything that belongs to it: its plug-ins loaded, itself judged, and its objects
/// built as far as they are sound. Nothing is driven. Destruction takes all of it down.
class CAssembly
{
public:
    /// What is wrong with configuration and plug-ins is collected in faults(). Throws CHostException for a
    /// file that cannot be read, is not well-formed, or for bad type descriptions.
    CAssembly(const std::filesystem::path& configurationFile, const CPluginPath& pluginPath);

    const CConfiguration& configuration() const { return configuration_; }
    const CTypeCatalogue& catalogue() const { return catalogue_; }
    const CPluginLoader& plugins() const { return plugins_; }
    const CFaultList& faults() const { return faults_; }
    CSession& session() { return session_; }

private:
    bool loadPlugins();

    // in this order, because each is built on those before it
    CConfiguration configuration_;
    CTypeCatalogue catalogue_;
    CPluginLoader plugins_;
    CFaultList faults_;
    CSession session_;
};

} // namespace Rvl
