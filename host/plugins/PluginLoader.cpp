#include "host/plugins/PluginLoader.h"

#include "host/base/ControlCharacters.h"
#include "host/base/Suggestion.h"
#include "host/base/SystemText.h"
#include "host/plugins/LibraryFile.h"
#include "host/plugins/LoaderMessage.h"
#include "host/process/LocaleGuard.h"
#include "platform/rivlink_core/Environment.h"

#include <boost/dll/shared_library.hpp>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>

namespace Rvl {

namespace {

std::string pluginBeingLoaded;

/// Names the plug-in whose static initialisation throws: the exception cannot pass the system's loader, and
/// so ends the process. While plug-ins are loaded nothing is driven yet.
class CInitialisationWatch
{
public:
    explicit CInitialisationWatch(const std::string& plugin)
    {
        pluginBeingLoaded = plugin;
        former_ = std::set_terminate(&endProcess);
    }
    ~CInitialisationWatch() { std::set_terminate(former_); }
    CInitialisationWatch(const CInitialisationWatch&) = delete;
    CInitialisationWatch& operator=(const CInitialisationWatch&) = delete;

private:
    [[noreturn]] static void endProcess()
    {
        std::string reason = "an exception of unknown kind";
        try {
            if (const auto exception = std::current_exception()) {
                std::rethrow_exception(exception);
            }
        } catch (const std::exception& exception) {
            reason = escapeControlCharacters(exception.what());
        } catch (...) {
        }
        std::cerr << "plug-in \"" + pluginBeingLoaded +
                         "\" cannot be loaded: its initialisation failed: " + reason +
                         "; expected one that does not throw\n"
                  << std::flush;
        std::_Exit(ExitBadConfiguration);
    }

    std::terminate_handler former_;
};

} // namespace

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
            throw CPluginException(plugin, "plug-in \"" + plugin +
                                               "\" is not in the plug-in path; expected " +
                                               expectedChoices(plugin, path_.plugins()));
        }
        library = *found;
    } else if (!std::filesystem::exists(library)) {
        throw CPluginException(plugin, "plug-in \"" + plugin + "\": the library " + textOf(library) +
                                           " does not exist; expected the path of the plug-in's library");
    }

    const auto descriptions = descriptionBeside(library, plugin);
    if (!std::filesystem::exists(descriptions)) {
        throw CPluginException(plugin, "plug-in \"" + plugin + "\" does not describe its types; expected " +
                                           textOf(descriptions.filename()) + " beside its library");
    }
    catalogue_.addFile(descriptions);

    auto& signal = CEnvironment::getInstance()->registerFactories();
    // runs before the plug-in's own slots, so that a failure is attributed to the right plug-in
    signal.connect([registering = registering_, plugin] { *registering = plugin; });

    if (isTruncated(library)) {
        throw CPluginException(plugin, "plug-in \"" + plugin + "\" cannot be loaded: " + textOf(library) +
                                           " is truncated; expected a whole library");
    }
    auto loaded = std::make_unique<SPlugin>();
    loaded->name = plugin;
    try {
        const CInitialisationWatch watch(plugin);
        const CLocaleGuard locale;
        // on Windows a path may begin at the root of the current drive, which Boost takes for a relative path
        loaded->library.load(boost::filesystem::path(std::filesystem::absolute(library).native()),
                             boost::dll::load_mode::rtld_now);
    } catch (const std::exception& exception) {
        throw CPluginException(plugin, "plug-in \"" + plugin + "\" cannot be loaded: " +
                                           loaderMessage(exception, textOf(library)) +
                                           "; expected a plug-in library");
    }
    plugins_.push_back(std::move(loaded));
    if (!hasRegistered(*plugins_.back())) {
        throw CPluginException(plugin,
                               "\"" + plugin +
                                   "\" is no plug-in: it connects nothing to the environment; expected a "
                                   "library that connects to registerFactories when it is loaded");
    }
    checkLoopsVersion(*plugins_.back());
}

bool CPluginLoader::hasRegistered(SPlugin& plugin)
{
    const std::vector<const void*> registrants = CEnvironment::getInstance()->registrants();
    return std::any_of(registrants.begin(), registrants.end(), [&](const void* address) {
        return isIn(address, reinterpret_cast<void*>(plugin.library.native()));
    });
}

void CPluginLoader::checkLoopsVersion(const SPlugin& plugin)
{
    if (!plugin.library.has(loopsFunctionName)) {
        return;
    }
    const int version = plugin.library.get<LoopsFunction>(loopsFunctionName)()->version;
    if (version != SLoops::currentVersion) {
        throw CPluginException(plugin.name, "plug-in \"" + plugin.name + "\" offers its loops in version " +
                                                std::to_string(version) + "; expected version " +
                                                std::to_string(SLoops::currentVersion) +
                                                ", as a plug-in has that is built with this program");
    }
}

void CPluginLoader::registerFactories()
{
    const CLocaleGuard locale;
    try {
        CEnvironment::getInstance()->registerFactories()();
    } catch (const std::exception& exception) {
        throw CPluginException(*registering_, "plug-in \"" + *registering_ +
                                                  "\" failed to register: " + exception.what() +
                                                  "; expected a registration that does not throw");
    } catch (...) {
        throw CPluginException(*registering_,
                               "plug-in \"" + *registering_ +
                                   "\" failed to register: an exception of unknown kind; expected a "
                                   "registration that does not throw");
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
