// A controller that is switched on and off again and again, on the real plug-ins within this process.
// RIVLINK_ENABLE_CYCLES says how often; a hundred times without it.

#include "host/session/Commands.h"
#include "host/session/LoadedConfiguration.h"
#include "platform/rivlink_device/AnalogOutChannel.h"
#include "platform/rivlink_device/ControllerChannel.h"
#include "tests/support/HeldResources.h"
#include "tests/support/ProgramRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

/// Keeps the computer busy.
class CLoad
{
public:
    CLoad()
    {
        for (unsigned i = 0; i < std::thread::hardware_concurrency() + 1; ++i) {
            threads_.emplace_back([this] {
                while (!ending_) {
                }
            });
        }
    }
    ~CLoad()
    {
        ending_ = true;
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }

private:
    std::atomic<bool> ending_{false};
    std::vector<std::thread> threads_;
};

} // namespace

TEST(EnableCycles, CyclesUnderLoadLeaveTheDisabledValueAndNothingElseBehind)
{
    const char* const given = std::getenv("RIVLINK_ENABLE_CYCLES");
    const int cycles = given ? std::stoi(given) : 100;
    ASSERT_GE(cycles, 100) << "fewer could leave something behind unnoticed";
    // a disabled value that control does not give by chance, and a sample time in which many cycles do not
    // take long
    std::string text = readFile(RIVLINK_EXAMPLES_DIRECTORY "/pid/pid.xml");
    text = replaced(text, "DisabledU=\"0\" Setpoint=\"40\" SampleTime_ms=\"100\"",
                    "DisabledU=\"5\" Setpoint=\"80\" SampleTime_ms=\"10\"");
    const CTemporaryFolder folder;
    const std::string example = folder.write("c.xml", text);
    CLoadedConfiguration loaded(example, CPluginPath({RIVLINK_TEST_PLUGIN_DIRECTORY}));
    ASSERT_TRUE(loaded.faults().empty()) << loaded.faults().report(example);
    CSession& session = loaded.session();
    session.start();
    CCommands commands(session, loaded.catalogue());
    const std::string controller = session.controllers().at(0)->name();
    const auto isEnabled = [&] { return session.controllers().at(0)->channel().isControlLoopEnabled(); };
    const CAnalogOutChannel& heater = *CAnalogOutChannel::NameServer.lookupObject("Heater");
    const auto isDriven = [&] { return heater.outputValue() != 5.0; };
    ASSERT_TRUE(eventually(isDriven));
    const CLoad load;
    const SHeldResources before = SHeldResources::now();
    int left = 0;
    for (int cycle = 0; cycle < cycles; ++cycle) {
        commands.setEnabled("the cycles", controller, false);
        left += isDriven() || isEnabled() ? 1 : 0;
        if (cycle % std::min(cycles / 10, 100) == 0) { // a step in the disabled state must not drive either
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            left += isDriven() ? 1 : 0;
        }
        commands.setEnabled("the cycles", controller, true);
        ASSERT_TRUE(eventually(isDriven)) << "it controls in between";
    }
    EXPECT_EQ(0, left) << "cycles that left the heater driven";
    const SHeldResources after = SHeldResources::now();
    EXPECT_EQ(before.threads, after.threads);
    // what a cycle left behind would be as many as there were cycles; on Windows a lock gets a handle when it
    // is first waited for
    EXPECT_LE(after.handles, before.handles + 40);
    EXPECT_EQ(EHealth::Ok, session.snapshot().controllers.at(0).health.kind);
    EXPECT_TRUE(session.shutDown().failures.empty());
}
