#include "driver/local/LoopMonitor.h"

#include "driver/local/LocalControllerChannel.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "tests/unit/driver/local/FakeLoop.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <type_traits>

using namespace Rvl::Test;
using Rvl::CLocalControllerChannel;
using Rvl::CLoopMonitor;
using Rvl::SLoopStatus;
using namespace std::chrono_literals;

class LoopMonitor : public testing::Test
{
protected:
    LoopMonitor()
    {
        loop->setInput(input);
        loop->setOutput(output);
        loop->sampleTime = 20;
    }

    CLoopMonitor::Clock clock()
    {
        return [this] { return std::chrono::steady_clock::time_point(now.load()); };
    }

    /// One step of the loop, so long after the one before.
    void stepAfter(std::chrono::steady_clock::duration period)
    {
        now = now.load() + period;
        loop->process();
    }

    std::atomic<std::chrono::steady_clock::duration> now{1000s};
    Journal journal;
    StepCounter counter;
    std::shared_ptr<FakeLoopIn> input = std::make_shared<FakeLoopIn>("input", journal);
    std::shared_ptr<FakeLoopOut> output = std::make_shared<FakeLoopOut>("output", journal);
    std::shared_ptr<FakeLoop> loop = std::make_shared<FakeLoop>("loop", journal);
    CLocalControllerChannel channel{"Controller", loop};
};

TEST(LoopStatus, TellsOfNothingAtFirst)
{
    const Rvl::SLoopStatus status;
    EXPECT_EQ("", status.typeName);
    EXPECT_EQ(0, status.sampleTime_ms);
    EXPECT_FALSE(status.enabled);
    EXPECT_EQ(0.0, status.setPoint);
    EXPECT_EQ(0.0, status.actualValue);
    EXPECT_EQ(0.0, status.controlValue);
    EXPECT_EQ(0U, status.steps);
    EXPECT_EQ(0.0, status.meanPeriodError_ms);
    EXPECT_EQ(0.0, status.worstPeriodError_ms);
    EXPECT_EQ(0U, status.overruns);
}

TEST_F(LoopMonitor, BeforeTheFirstStepThereIsNoActualValueAndNoPeriod)
{
    const CLoopMonitor monitor(channel, clock());
    ASSERT_EQ(1u, monitor.loopCount());
    const SLoopStatus status = monitor.status(0);
    EXPECT_EQ("loop", status.typeName);
    EXPECT_EQ(20, status.sampleTime_ms);
    EXPECT_FALSE(status.enabled);
    EXPECT_TRUE(std::isnan(status.actualValue));
    EXPECT_EQ(0u, status.steps);
    EXPECT_EQ(0.0, status.meanPeriodError_ms);
    EXPECT_EQ(0.0, status.worstPeriodError_ms);
    EXPECT_EQ(0u, status.overruns);
}

TEST_F(LoopMonitor, ValuesAreThoseOfTheLoop)
{
    const CLoopMonitor monitor(channel, clock());
    loop->setEnabled(true);
    loop->writeSetpoint(5.0);
    loop->setControlValue(6.0);
    input->value = 7.0;
    loop->process();
    input->value = 8.0;
    const SLoopStatus status = monitor.status(0);
    EXPECT_TRUE(status.enabled);
    EXPECT_EQ(5.0, status.setPoint);
    EXPECT_EQ(6.0, status.controlValue);
    EXPECT_EQ(7.0, status.actualValue) << "as of the last step";
    EXPECT_EQ(1u, status.steps);
}

TEST_F(LoopMonitor, MeanAndWorstPeriodError)
{
    const CLoopMonitor monitor(channel, clock());
    loop->process();
    EXPECT_EQ(0.0, monitor.status(0).worstPeriodError_ms) << "one step makes no period";
    stepAfter(21ms);
    stepAfter(15ms);
    stepAfter(22ms);
    const SLoopStatus status = monitor.status(0);
    EXPECT_EQ(4u, status.steps);
    EXPECT_DOUBLE_EQ((1.0 - 5.0 + 2.0) / 3.0, status.meanPeriodError_ms);
    EXPECT_DOUBLE_EQ(-5.0, status.worstPeriodError_ms) << "of the largest magnitude, with its sign";
    EXPECT_EQ(0u, status.overruns);
}

TEST_F(LoopMonitor, PeriodOfTwiceTheSampleTimeIsAnOverrun)
{
    const CLoopMonitor monitor(channel, clock());
    loop->process();
    stepAfter(39999us);
    EXPECT_EQ(0u, monitor.status(0).overruns);
    stepAfter(40ms);
    EXPECT_EQ(1u, monitor.status(0).overruns);
    stepAfter(100s);
    EXPECT_EQ(2u, monitor.status(0).overruns);
    EXPECT_DOUBLE_EQ(99980.0, monitor.status(0).worstPeriodError_ms) << "a long pause within a run counts";
}

TEST_F(LoopMonitor, ShortestSampleTimeHasOverrunsToo)
{
    loop->sampleTime = 1;
    const CLoopMonitor monitor(channel, clock());
    loop->process();
    stepAfter(2ms);
    EXPECT_EQ(1u, monitor.status(0).overruns);
}

TEST_F(LoopMonitor, SampleTimeIsThatInForceWhenThePeriodBegan)
{
    const CLoopMonitor monitor(channel, clock());
    loop->process();
    loop->sampleTime = 100;
    stepAfter(20ms);
    EXPECT_DOUBLE_EQ(0.0, monitor.status(0).worstPeriodError_ms);
    stepAfter(101ms);
    EXPECT_DOUBLE_EQ(1.0, monitor.status(0).worstPeriodError_ms);
    EXPECT_EQ(100, monitor.status(0).sampleTime_ms);
}

TEST_F(LoopMonitor, LoopWithoutASampleTimeHasNoOverruns)
{
    loop->sampleTime = 0;
    const CLoopMonitor monitor(channel, clock());
    loop->process();
    stepAfter(3ms);
    EXPECT_EQ(0u, monitor.status(0).overruns);
    EXPECT_DOUBLE_EQ(3.0, monitor.status(0).worstPeriodError_ms);
}

TEST_F(LoopMonitor, EnablingAndDisablingMakeNoDifference)
{
    const CLoopMonitor monitor(channel, clock());
    loop->process();
    loop->setEnabled(true);
    stepAfter(20ms);
    loop->setEnabled(false);
    stepAfter(20ms);
    EXPECT_EQ(3u, monitor.status(0).steps);
    EXPECT_EQ(0.0, monitor.status(0).worstPeriodError_ms);
}

TEST_F(LoopMonitor, GapBetweenStopAndStartIsNoPeriod)
{
    loop->sampleTime = 5;
    loop->addActualValueListener(&counter);
    const CLoopMonitor monitor(channel, clock());
    channel.start();
    ASSERT_TRUE(counter.waitForMore(3));
    channel.stop();
    now = now.load() + 100s;
    channel.start();
    ASSERT_TRUE(counter.waitForMore(3));
    channel.stop();
    const SLoopStatus status = monitor.status(0);
    EXPECT_LE(6u, status.steps);
    EXPECT_EQ(-5.0, status.worstPeriodError_ms) << "within each run the test's clock stood still";
    EXPECT_EQ(0u, status.overruns);
}

TEST_F(LoopMonitor, CascadeIsWatchedOutermostFirst)
{
    const auto inner = std::make_shared<FakeLoop>("inner", journal);
    inner->setOutput(output);
    inner->sampleTime = 7;
    loop->setOutput(inner);
    const CLoopMonitor monitor(channel, clock());
    ASSERT_EQ(2u, monitor.loopCount());
    inner->process();
    EXPECT_EQ("loop", monitor.status(0).typeName);
    EXPECT_EQ(0u, monitor.status(0).steps);
    EXPECT_EQ("inner", monitor.status(1).typeName);
    EXPECT_EQ(7, monitor.status(1).sampleTime_ms);
    EXPECT_EQ(1u, monitor.status(1).steps);
    EXPECT_THROW(monitor.status(2), std::out_of_range);
}

TEST_F(LoopMonitor, EndsWatchingWhenDestroyed)
{
    class CountingIn : public FakeLoopIn
    {
    public:
        using FakeLoopIn::FakeLoopIn;
        double readInputValue() override { return ++reads; }
        int reads = 0;
    };
    const auto counting = std::make_shared<CountingIn>("input", journal);
    loop->setInput(counting);
    {
        const CLoopMonitor monitor(channel, clock());
        loop->process();
        EXPECT_EQ(1, counting->reads);
    }
    loop->process();
    EXPECT_EQ(1, counting->reads) << "no listener is left";
}

TEST_F(LoopMonitor, TwoMonitorsWatchIndependently)
{
    const CLoopMonitor first(channel, clock());
    loop->process();
    const CLoopMonitor second(channel, clock());
    stepAfter(25ms);
    EXPECT_EQ(2u, first.status(0).steps);
    EXPECT_EQ(1u, second.status(0).steps);
    EXPECT_DOUBLE_EQ(5.0, first.status(0).worstPeriodError_ms);
    EXPECT_EQ(0.0, second.status(0).worstPeriodError_ms);
}

TEST_F(LoopMonitor, StatusCanBeAskedForWhileTheLoopRuns)
{
    loop->sampleTime = 1;
    loop->addActualValueListener(&counter);
    channel.start();
    std::optional<CLoopMonitor> monitor(channel); // on the system's clock
    std::uint64_t steps = 0;
    while (steps < 20) {
        const auto status = monitor->status(0);
        ASSERT_LE(steps, status.steps);
        steps = status.steps;
    }
    EXPECT_LT(0.0, monitor->status(0).meanPeriodError_ms) << "a timer is never early";
    monitor.reset();
    EXPECT_TRUE(counter.waitForMore(2)) << "the loop goes on";
}

TEST_F(LoopMonitor, ObserveLoopsBeginsAnObservationOfALocalControllerChannel)
{
    Rvl::ObserveLoopsFunction* const observe = &rivlinkObserveLoops;
    EXPECT_STREQ("rivlinkObserveLoops", Rvl::observeLoopsFunctionName);
    const std::unique_ptr<Rvl::ILoopObservation> observation(observe(channel));
    ASSERT_TRUE(observation);
    EXPECT_EQ(1u, observation->loopCount());
}

TEST_F(LoopMonitor, ObserveLoopsGivesNothingForOtherChannels)
{
    Rvl::CAnalogInChannel other("Temperature");
    EXPECT_EQ(nullptr, rivlinkObserveLoops(other));
}

TEST_F(LoopMonitor, IsNotCopied)
{
    EXPECT_FALSE(std::is_copy_constructible_v<CLoopMonitor>);
    EXPECT_FALSE(std::is_copy_assignable_v<CLoopMonitor>);
}
