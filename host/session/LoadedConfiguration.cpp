#include "host/session/LoadedConfiguration.h"

#include "host/base/SystemText.h"
#include "host/configuration/ConfigurationCheck.h"
#include "host/configuration/ConfigurationFrame.h"
#include "host/configuration/RealDevices.h"
#include "host/process/LogSetup.h"
#include "host/session/RigBuilder.h"
#include "platform/rivlink_core/Environment.h"

#include <map>
#include <set>
#include <string>
#include <utility>

namespace Rvl {

CLoadedConfiguration::CLoadedConfiguration(const std::filesystem::path& configurationFile,
                                           const CPluginPath& pluginPath, const SSessionSettings& settings)
    : configuration_(CConfiguration::load(configurationFile)), plugins_(pluginPath, catalogue_)
{
    const bool complete = loadPlugins();
    catalogue_.resolve();
    CConfigurationCheck check(configuration_, catalogue_, complete,
                              CEnvironment::getInstance()->busRegistry().names(), faults_);
    check.run();
    if (settings.isVirtual()) {
        refuseRealDevices(configuration_, catalogue_, faults_);
    }
    SRig rig;
    if (complete) {
        loopTimelines_.use(plugins_.loops(), *settings.timeline);
        const CLogSilence silence("ExceptionLogger"); // what building throws is reported as a fault
        rig = CRigBuilder(configuration_, catalogue_,
                          {plugins_.loops(), settings.isVirtual(), check.controllers()})
                  .build(faults_);
    }
    session_ = std::make_unique<CSession>(std::move(rig), settings);
}

CLoopTimelines::~CLoopTimelines()
{
    for (const SLoops* const loops : loops_) {
        loops->useTimeline(nullptr);
    }
}

void CLoopTimelines::use(const std::vector<const SLoops*>& loops, ITimeline& timeline)
{
    loops_ = loops;
    for (const SLoops* const entry : loops_) {
        entry->useTimeline(&timeline);
    }
}

bool CLoadedConfiguration::loadPlugins()
{
    bool complete = true;
    std::map<std::string, pugi::xml_node> listed;
    for (const pugi::xml_node& node : objectsOf(configuration_.root(), "Plugins", "Plugin")) {
        const pugi::xml_attribute attribute = node.attribute("Name");
        const std::string name = attribute.value();
        if (name.empty()) {
            complete = false;
            continue;
        }
        if (!listed.emplace(name, node).second) {
            faults_.add(
                configuration_.fault(node, attribute, "\"" + name + "\" is listed twice; expected it once"));
            continue;
        }
        const std::string path = node.attribute("Path").value();
        try {
            plugins_.load(name,
                          path.empty() ? std::filesystem::path() : configuration_.folder() / pathOf(path));
        } catch (const CPluginException& exception) {
            faults_.add(configuration_.fault(node, attribute, exception.what()));
            complete = false;
        }
    }
    try {
        plugins_.registerFactories();
    } catch (const CPluginException& exception) {
        faults_.add(configuration_.fault(listed.at(exception.plugin()), exception.what()));
        complete = false;
    }
    return complete;
}

} // namespace Rvl
