#pragma once

#include "host/configuration/Configuration.h"
#include "host/configuration/Fault.h"
#include "host/plugins/PluginLoader.h"
#include "host/plugins/PluginPath.h"
#include "host/session/Session.h"
#include "host/types/TypeCatalogue.h"

#include <filesystem>
#include <memory>
#include <vector>

namespace Rvl {

/// Has the loops of plug-ins take their time from a timeline for as long as it lives.
class CLoopTimelines
{
public:
    CLoopTimelines() = default;
    /// The plug-ins go by the system's calendar again.
    ~CLoopTimelines();
    CLoopTimelines(const CLoopTimelines&) = delete;
    CLoopTimelines& operator=(const CLoopTimelines&) = delete;

    void use(const std::vector<const SLoops*>& loops, ITimeline& timeline);

private:
    std::vector<const SLoops*> loops_;
};

/// A configuration with everything that belongs to it: its plug-ins loaded, itself checked, and its objects
/// built as far as they are sound. Nothing is driven. Destruction takes all of it down.
class CLoadedConfiguration
{
public:
    /// Loops take their time from the settings' timeline. What is wrong with configuration and plug-ins is
    /// collected in faults(), and so is what does not go by virtual time if the settings are those of it.
    /// Throws CHostException for a file that cannot be read, is not well-formed, or for bad type
    /// descriptions.
    CLoadedConfiguration(const std::filesystem::path& configurationFile, const CPluginPath& pluginPath,
                         const SSessionSettings& settings = {});

    const CConfiguration& configuration() const { return configuration_; }
    const CTypeCatalogue& catalogue() const { return catalogue_; }
    const CPluginLoader& plugins() const { return plugins_; }
    const CFaultList& faults() const { return faults_; }
    CSession& session() { return *session_; }

private:
    bool loadPlugins();

    // in this order, because each is built on those before it
    CConfiguration configuration_;
    CTypeCatalogue catalogue_;
    CPluginLoader plugins_;
    CLoopTimelines loopTimelines_;
    CFaultList faults_;
    std::unique_ptr<CSession> session_;
};

} // namespace Rvl
