#include "host/plugins/PluginLoader.h"

#include "host/base/Suggestion.h"
#include "host/base/SystemText.h"
#include "host/plugins/LoaderMessage.h"
#include "platform/rivlink_core/Environment.h"

#include <boost/dll/shared_library.hpp>

namespace Rvl {

struct CPluginLoader::SPlugin
{
    std::string name;
    boost::dll::shared_library library;
};

CPluginLoader::CPluginLoader(const CPluginPath& path, CTypeCatalogue& catalogue)
    : path_(path), catalogue_(catalogue), registering_(std::make_shared<std::string>())
{
    if (const auto common = path_.findFile("rivlink_platform.types.json")) {
        catalogue_.addFile(*common);
    }
}

CPluginLoader::~CPluginLoader()
{
    // slots and factories consist of the plug-ins' code
    CEnvironment::getInstance()->releasePlugins();
    while (!plugins_.empty()) {
        plugins_.pop_back();
    }
}

void CPluginLoader::load(const std::string& plugin, const std::filesystem::path& file)
{
    std::filesystem::path library = file;
    if (library.empty()) {
        const auto found = path_.findLibrary(plugin);
        if (!found) {
            throw CPluginException(plugin, false,
                                   "plug-in \"" + plugin + "\" is not in the plug-in path; expected " +
                                       expectedChoices(plugin, path_.plugins()));
        }
        library = *found;
    } else if (!std::filesystem::exists(library)) {
        throw CPluginException(plugin, false,
                               "plug-in \"" + plugin + "\": the library " + textOf(library) +
                                   " does not exist; expected the path of the plug-in's library");
    }

    const auto descriptions = descriptionBeside(library, plugin);
    if (!std::filesystem::exists(descriptions)) {
        throw CPluginException(plugin, true,
                               "plug-in \"" + plugin + "\" does not describe its types; expected " +
                                   textOf(descriptions.filename()) + " beside its library");
    }
    catalogue_.addFile(descriptions);

    auto& signal = CEnvironment::getInstance()->registerFactories();
    // runs before the plug-in's own slots, so that a failure is attributed to the right plug-in
    signal.connect([registering = registering_, plugin] { *registering = plugin; });
    const std::size_t slots = signal.num_slots();

    auto loaded = std::make_unique<SPlugin>();
    loaded->name = plugin;
    try {
        // on Windows a path may begin at the root of the current drive, which Boost takes for a relative path
        loaded->library.load(boost::filesystem::path(std::filesystem::absolute(library).native()),
                             boost::dll::load_mode::rtld_now);
    } catch (const std::exception& exception) {
        throw CPluginException(plugin, true,
                               "plug-in \"" + plugin +
                                   "\" cannot be loaded: " + loaderMessage(exception, textOf(library)) +
                                   "; expected a plug-in library");
    }
    plugins_.push_back(std::move(loaded));
    if (signal.num_slots() == slots) {
        throw CPluginException(plugin, true,
                               "\"" + plugin +
                                   "\" is no plug-in: it connects nothing to the environment; expected a "
                                   "library that connects to registerFactories when it is loaded");
    }
    checkLoopsVersion(*plugins_.back());
}

void CPluginLoader::checkLoopsVersion(const SPlugin& plugin)
{
    if (!plugin.library.has(loopsFunctionName)) {
        return;
    }
    const int version = plugin.library.get<LoopsFunction>(loopsFunctionName)()->version;
    if (version != SLoops::currentVersion) {
        throw CPluginException(plugin.name, true,
                               "plug-in \"" + plugin.name + "\" offers its loops in version " +
                                   std::to_string(version) + "; expected version " +
                                   std::to_string(SLoops::currentVersion) +
                                   ", as a plug-in has that is built with this program");
    }
}

void CPluginLoader::registerFactories()
{
    try {
        CEnvironment::getInstance()->registerFactories()();
    } catch (const std::exception& exception) {
        throw CPluginException(*registering_, true,
                               "plug-in \"" + *registering_ + "\" failed to register: " + exception.what() +
                                   "; expected a registration that does not throw");
    }
}

template <class Function> std::vector<Function*> CPluginLoader::functions(const char* name) const
{
    std::vector<Function*> found;
    for (const auto& plugin : plugins_) {
        if (plugin->library.has(name)) {
            found.push_back(&plugin->library.get<Function>(name));
        }
    }
    return found;
}

std::vector<const SLoops*> CPluginLoader::loops() const
{
    std::vector<const SLoops*> found;
    for (LoopsFunction* const entry : functions<LoopsFunction>(loopsFunctionName)) {
        found.push_back(entry());
    }
    return found;
}

} // namespace Rvl
