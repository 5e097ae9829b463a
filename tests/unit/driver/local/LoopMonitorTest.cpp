#include "driver/local/LoopMonitor.h"

#include "common/Timeline.h"
#include "driver/local/controller/controlloop/PIDControlLoop.h"
#include "driver/local/controller/controlloop/PT1Element.h"
#include "driver/local/controller/controlloopinput/AnalogChannelLoopIn.h"
#include "driver/local/LocalControllerChannel.h"
#include "driver/local/LoopTimeline.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "runtime/VirtualTimeline.h"
#include "tests/unit/driver/local/FakeLoop.h"

#include <boost/property_tree/ptree.hpp>
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

TEST(LoopStatus, IsZeroAtFirst)
{
    const Rvl::SLoopStatus status;
    EXPECT_EQ("", status.typeName);
    EXPECT_EQ(0, status.sampleTime_ms);
    EXPECT_FALSE(status.enabled);
    EXPECT_FALSE(status.manual);
    EXPECT_EQ(0.0, status.setPoint);
    EXPECT_EQ(0.0, status.actualValue);
    EXPECT_EQ(0.0, status.controlValue);
    EXPECT_EQ(0.0, status.proportional);
    EXPECT_EQ(0.0, status.integral);
    EXPECT_EQ(0.0, status.derivative);
    EXPECT_EQ(SLoopStatus::Free, status.saturation);
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
    EXPECT_FALSE(status.manual);
    loop->setManualMode(true);
    EXPECT_TRUE(monitor.status(0).manual);
}

TEST_F(LoopMonitor, TimeSinceTheLastStepCountsWhileTheProcessorRuns)
{
    Rvl::CVirtualTimeline timeline{{}}; // on which no step is made by itself
    Rvl::setLoopTimeline(&timeline);
    const CLoopMonitor monitor(channel, clock());
    now = now.load() + 5s;
    EXPECT_EQ(0.0, monitor.status(0).sinceStep_ms) << "nothing is to step";
    channel.start();
    EXPECT_EQ(0.0, monitor.status(0).sinceStep_ms);
    now = now.load() + 5s;
    EXPECT_EQ(5000.0, monitor.status(0).sinceStep_ms) << "since it was first seen";
    loop->process();
    EXPECT_EQ(0.0, monitor.status(0).sinceStep_ms);
    now = now.load() + 2s;
    EXPECT_EQ(2000.0, monitor.status(0).sinceStep_ms);
    channel.stop();
    EXPECT_EQ(0.0, monitor.status(0).sinceStep_ms);
    Rvl::setLoopTimeline(nullptr);
}

TEST_F(LoopMonitor, InputIsNotReadForTheMonitor)
{
    class CountedIn : public FakeLoopIn
    {
    public:
        using FakeLoopIn::FakeLoopIn;
        double readInputValue() override { return ++readings; }
        int readings = 0;
    };
    const auto counted = std::make_shared<CountedIn>("counted", journal);
    loop->setInput(counted);
    const CLoopMonitor first(channel, clock());
    const CLoopMonitor second(channel, clock());
    loop->setEnabled(true);
    loop->process();
    loop->process();
    EXPECT_EQ(2.0, first.status(0).actualValue);
    EXPECT_EQ(2.0, second.status(0).actualValue);
    EXPECT_EQ(2, counted->readings) << "once for each step";
    loop->setEnabled(false);
    loop->process();
    EXPECT_EQ(2.0, first.status(0).actualValue);
    EXPECT_EQ(3u, first.status(0).steps);
    EXPECT_EQ(2, counted->readings);
}

TEST_F(LoopMonitor, LagElementIsNotMovedByTheMonitor)
{
    static int tick_ms;
    tick_ms = 0;
    Rvl::CPT1Element::setTickFunction([] { return tick_ms; });
    const auto lag = std::make_shared<Rvl::CPT1Element>(boost::property_tree::ptree());
    loop->setInput(lag);
    const CLoopMonitor monitor(channel, clock());
    lag->writeOutputValue(100.0);
    tick_ms = 500;
    loop->setEnabled(true);
    loop->process();
    const double afterOneReading = 100.0 * (1.0 - std::exp(-0.5));
    EXPECT_DOUBLE_EQ(afterOneReading, monitor.status(0).actualValue);
    loop->setEnabled(false);
    loop->process();
    EXPECT_DOUBLE_EQ(afterOneReading, monitor.status(0).actualValue);
    EXPECT_DOUBLE_EQ(afterOneReading, lag->lastOutput());
    Rvl::CPT1Element::setTickFunction(nullptr);
}

TEST_F(LoopMonitor, LoopThatDoesNotCalculateShowsWhatItsChannelAnnouncedLast)
{
    Rvl::CAnalogInChannel sensor("Sensor");
    const auto pid = std::make_shared<Rvl::CPIDControlLoop>();
    pid->setInput(std::make_shared<Rvl::CAnalogChannelLoopIn>(&sensor));
    pid->setOutput(output);
    CLocalControllerChannel pidChannel("PID", pid);
    const CLoopMonitor monitor(pidChannel, clock());
    sensor.publishValue(21.0);
    EXPECT_EQ(21.0, monitor.status(0).actualValue) << "before the first step";
    pid->setEnabled(true);
    pid->process();
    sensor.publishValue(22.0);
    EXPECT_EQ(21.0, monitor.status(0).actualValue) << "as of the last step";
    pid->setManualMode(true);
    EXPECT_EQ(22.0, monitor.status(0).actualValue);
}

TEST_F(LoopMonitor, LoopThatIsNoPidLoopHasNoTermsAndNoLimits)
{
    const CLoopMonitor monitor(channel, clock());
    const SLoopStatus status = monitor.status(0);
    EXPECT_TRUE(std::isnan(status.proportional));
    EXPECT_TRUE(std::isnan(status.integral));
    EXPECT_TRUE(std::isnan(status.derivative));
    EXPECT_EQ(SLoopStatus::Free, status.saturation);
}

TEST_F(LoopMonitor, TermsAndSaturationOfAPidLoop)
{
    // K = 2, Ti = 1 s, Td = 0.25 s, dt = 0.125 s: integral gain 0.25, derivative gain -4
    Rvl::CPIDParameters parameters({2.0, 1.0, 0.25, 100.0, 0.0, 50.0, -50.0, 0.0, 10.0, 125.0}, "pid");
    const auto pid = std::make_shared<Rvl::CPIDControlLoop>();
    pid->setParameters(parameters);
    pid->writeSetpoint(10.0);
    pid->setInput(input);
    pid->setOutput(output);
    CLocalControllerChannel pidChannel("PID", pid);
    const CLoopMonitor monitor(pidChannel, clock());
    pid->setEnabled(true);
    input->value = 8.0;
    pid->process();
    input->value = 9.0;
    pid->process();
    SLoopStatus status = monitor.status(0);
    EXPECT_EQ(2.0, status.proportional) << "2 * (10 - 9)";
    EXPECT_EQ(pid->integralControlValue(), status.integral);
    EXPECT_EQ(-4.0, status.derivative) << "-4 * (9 - 8)";
    EXPECT_NE(0.0, status.integral);
    EXPECT_EQ(SLoopStatus::Free, status.saturation);
    input->value = -100.0;
    pid->process();
    status = monitor.status(0);
    EXPECT_EQ(50.0, status.controlValue);
    EXPECT_EQ(SLoopStatus::AtMaximum, status.saturation);
    pid->driveControlValue(49.75);
    EXPECT_EQ(SLoopStatus::Free, monitor.status(0).saturation);
    pid->driveControlValue(-50.0);
    EXPECT_EQ(SLoopStatus::AtMinimum, monitor.status(0).saturation);
    pid->driveControlValue(-60.0);
    EXPECT_EQ(SLoopStatus::AtMinimum, monitor.status(0).saturation) << "beyond it";
    pid->driveControlValue(std::nan(""));
    EXPECT_EQ(SLoopStatus::Free, monitor.status(0).saturation);
}

TEST_F(LoopMonitor, TimeIsThatOfTheLoopsTimeline)
{
    class StandingTimeline : public Rvl::ITimeline
    {
    public:
        std::chrono::nanoseconds monotonic() const override { return time; }
        std::chrono::system_clock::time_point utc() const override { return {}; }
        std::unique_ptr<Rvl::IWorker> makeWorker(const std::string&) override { return nullptr; }
        void wait(std::unique_lock<std::mutex>&, std::condition_variable&,
                  const std::function<bool()>&) override
        {}
        std::chrono::nanoseconds time{5s};
    };
    StandingTimeline timeline;
    const CLoopMonitor monitor(channel);
    Rvl::setLoopTimeline(&timeline);
    EXPECT_EQ(std::chrono::steady_clock::time_point(5s), CLoopMonitor::now());
    loop->process();
    timeline.time += 23ms;
    loop->process();
    Rvl::setLoopTimeline(nullptr);
    EXPECT_EQ(3.0, monitor.status(0).worstPeriodError_ms);
    const auto before = std::chrono::steady_clock::now();
    const auto given = CLoopMonitor::now();
    EXPECT_LE(before, given);
    EXPECT_LE(given, std::chrono::steady_clock::now());
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
    int clockReadings = 0;
    {
        const CLoopMonitor monitor(channel, [&] {
            ++clockReadings;
            return std::chrono::steady_clock::time_point();
        });
        loop->process();
        EXPECT_EQ(1, clockReadings);
    }
    loop->process();
    EXPECT_EQ(1, clockReadings) << "no observer is left";
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

TEST_F(LoopMonitor, StatusCanBeReadWhileTheLoopRuns)
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

TEST_F(LoopMonitor, IsNotCopied)
{
    EXPECT_FALSE(std::is_copy_constructible_v<CLoopMonitor>);
    EXPECT_FALSE(std::is_copy_assignable_v<CLoopMonitor>);
}
