#include "host/session/Shutdown.h"

#include "host/session/Session.h"
#include "platform/rivlink_core/Environment.h"
#include "tests/support/ProgramRun.h"
#include "tests/unit/host/session/CountedController.h"

#include <boost/signals2/connection.hpp>
#include <gmock/gmock.h>

#include <future>
#include <stdexcept>
#include <thread>

namespace Rvl::Test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

SSessionSettings withThreads(CDeadlineTasks::eThreads threads)
{
    SSessionSettings settings;
    settings.limits = SShutdownLimits().scaled(0.1);
    settings.threads = threads;
    return settings;
}

} // namespace

TEST(ShutdownTest, InlineEverythingIsDoneOnTheCallersThread)
{
    SRig rig;
    std::vector<std::thread::id> threads;
    addCounted(rig, "Vessel").onEnable = [&](bool) { threads.push_back(std::this_thread::get_id()); };
    CSession session(std::move(rig), withThreads(CDeadlineTasks::Inline));
    session.start();
    bool stopped = false;
    const SShutdownReport report = session.shutDown([&] { stopped = true; });
    EXPECT_THAT(report.failures, IsEmpty());
    EXPECT_FALSE(report.hung);
    EXPECT_TRUE(stopped);
    EXPECT_THAT(threads, ElementsAre(std::this_thread::get_id(), std::this_thread::get_id()));
    EXPECT_THAT(session.controllers(), IsEmpty());
}

TEST(ShutdownTest, NothingIsDisabledThatWasNotStarted)
{
    SRig rig;
    int calls = 0;
    addCounted(rig, "Vessel").onEnable = [&](bool) { ++calls; };
    CSession session(std::move(rig), withThreads(CDeadlineTasks::OwnThreads));
    EXPECT_THAT(session.shutDown().failures, IsEmpty());
    EXPECT_EQ(0, calls);
}

TEST(ShutdownTest, OneFailureDoesNotKeepTheOthersFromBeingDisabled)
{
    SRig rig;
    addCounted(rig, "First").onEnable = [](bool enable) {
        if (!enable) {
            throw std::runtime_error("stuck");
        }
    };
    bool second = false;
    addCounted(rig, "Second").onEnable = [&](bool enable) { second = enable; };
    CSession session(std::move(rig), withThreads(CDeadlineTasks::OwnThreads));
    session.start();
    EXPECT_TRUE(second);
    EXPECT_THAT(session.shutDown().failures, ElementsAre("disabling First: stuck"));
    EXPECT_FALSE(second);
}

TEST(ShutdownTest, AllLoopsBeginToStopBeforeAnyIsWaitedForAndAfterAllAreDisabled)
{
    SRig rig;
    std::vector<std::string> done;
    for (const std::string name : {"First", "Second", "Third"}) {
        CCountedController& controller = addCounted(rig, name);
        controller.onEnable = [&done, name](bool enable) {
            if (!enable) {
                done.push_back("disable " + name);
            }
        };
        controller.onBeginStop = [&done, name] {
            done.push_back("begin to stop " + name);
            if (name == "Second") {
                throw std::runtime_error("failed");
            }
        };
    }
    const boost::signals2::scoped_connection slot =
        CEnvironment::getInstance()->aboutToDisconnect().connect([&] { done.push_back("stop"); });
    CSession session(std::move(rig), withThreads(CDeadlineTasks::OwnThreads));
    session.start();
    EXPECT_THAT(session.shutDown().failures, ElementsAre("stopping Second: failed"));
    EXPECT_THAT(done, ElementsAre("disable First", "disable Second", "disable Third", "begin to stop First",
                                  "begin to stop Second", "begin to stop Third", "stop"));
}

TEST(ShutdownTest, CallThatHangsIsReportedAndNothingIsDestroyed)
{
    SRig rig; // whose objects keep their names for as long as the process lives
    const auto released = std::make_shared<std::promise<void>>();
    const auto gate = released->get_future().share();
    CCountedController& first = addCounted(rig, "Kept first");
    first.onEnable = [gate](bool enable) {
        if (!enable) {
            gate.wait();
        }
    };
    CCountedController& second = addCounted(rig, "Kept second");
    CSession session(std::move(rig), withThreads(CDeadlineTasks::OwnThreads));
    session.start();
    const SShutdownReport report = session.shutDown();
    EXPECT_TRUE(report.hung);
    EXPECT_THAT(
        report.failures,
        ElementsAre("disabling Kept first: did not end within 500 ms; what it drives may still be driven"));
    EXPECT_FALSE(second.enabled);
    EXPECT_EQ(2u, session.controllers().size());
    EXPECT_TRUE(session.calls().isGivenUp());
    // released here, so that the test leaves no thread behind in what it owns
    released->set_value();
    EXPECT_TRUE(eventually([&] { return !first.enabled; }));
}

} // namespace Rvl::Test
