#pragma once

#include "common/LoopGraph.h"
#include "host/base/ControlCharacters.h"
#include "host/base/HostException.h"
#include "host/plugins/PluginPath.h"
#include "host/types/TypeCatalogue.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

/// A plug-in could not be loaded: a fault of the configuration that names it, as far as the host can tell.
/// The message names the plug-in.
class CPluginException : public CHostException
{
public:
    CPluginException(const std::string& plugin, const std::string& message)
        : CHostException(ExitBadConfiguration, escapeControlCharacters(message)), plugin_(plugin)
    {}

    const std::string& plugin() const { return plugin_; }

private:
    std::string plugin_;
};

/// Loads plug-ins and lets them register their factories with the environment; its destructor removes these
/// and unloads the plug-ins. Every object of theirs must have been destroyed by then.
class CPluginLoader
{
public:
    /// Reads the descriptions that all plug-ins share, if the path has them.
    CPluginLoader(const CPluginPath& path, CTypeCatalogue& catalogue);
    ~CPluginLoader();
    CPluginLoader(const CPluginLoader&) = delete;
    CPluginLoader& operator=(const CPluginLoader&) = delete;

    /// Loads a plug-in from the path, or from `file` if that is not empty, and adds its descriptions to the
    /// catalogue. Throws CPluginException if it does not exist, is no library, lacks its descriptions,
    /// connects nothing to the environment's registerFactories, or offers its loops in another version than
    /// SLoops::currentVersion.
    void load(const std::string& plugin, const std::filesystem::path& file = {});
    /// Emits registerFactories. Throws CPluginException with the plug-in whose registration threw.
    void registerFactories();
    /// What those of the loaded plug-ins that have loops offer, in the order of loading.
    std::vector<const SLoops*> loops() const;

private:
    struct SPlugin;
    /// Whether the library has connected something, when it was loaded: now, or before with another one.
    static bool hasRegistered(SPlugin& plugin);
    static void checkLoopsVersion(const SPlugin& plugin);
    template <class Function> std::vector<Function*> functions(const char* name) const;

    const CPluginPath path_;
    CTypeCatalogue& catalogue_;
    std::vector<std::unique_ptr<SPlugin>> plugins_;
    /// The plug-in whose registration is under way.
    std::shared_ptr<std::string> registering_;
};

} // namespace Rvl
