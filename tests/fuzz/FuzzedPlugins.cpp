#include "tests/fuzz/FuzzedPlugins.h"

#include "host/process/LogSetup.h"
#include "platform/rivlink_core/Environment.h"

#include <memory>
#include <string>

namespace Rvl::Test {

namespace {

std::shared_ptr<IBus> localBus;

} // namespace

CFuzzedPlugins::CFuzzedPlugins()
{
    setUpLogging("off");
    for (const char* const plugin : {"platform", "local", "simulated", "system"}) {
        catalogue_.addFile(std::string(RIVLINK_FUZZ_TYPES_FOLDER "/rivlink_") + plugin + ".types.json");
    }
    CEnvironment::getInstance()->registerFactories()();
    catalogue_.resolve();
    localBus = CEnvironment::getInstance()->busRegistry().get("LocalBus");
}

const CFuzzedPlugins& CFuzzedPlugins::instance()
{
    static const CFuzzedPlugins plugins;
    return plugins;
}

void CFuzzedPlugins::resetBuses()
{
    CBusRegistry& buses = CEnvironment::getInstance()->busRegistry();
    buses.clear();
    buses.put(localBus);
}

} // namespace Rvl::Test
