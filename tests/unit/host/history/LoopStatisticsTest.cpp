#include "host/history/LoopStatistics.h"

#include "tests/unit/host/history/HistoryFixture.h"

#include <limits>

namespace Rvl::Test {

using namespace std::chrono_literals;

namespace {

/// Samples a second apart, one after another.
class CSamples
{
public:
    explicit CSamples(SBand band = {1.0, false}, double largest = 100.0) : statistics(band, largest) {}

    CSamples& add(double setPoint, double actualValue, double controlValue = 0.0, bool enabled = true,
                  bool manual = false, EHealth health = EHealth::Ok)
    {
        statistics.add({time, setPoint, actualValue, controlValue, enabled, manual, {health, ""}});
        time += 1s;
        return *this;
    }
    const CLoopStatistics& finished()
    {
        statistics.finish();
        return statistics;
    }

    HistoryTime time = noon;
    CLoopStatistics statistics;
};

} // namespace

TEST(LoopStatisticsTest, ErrorIsIntegratedInAutomaticModeOnly)
{
    CSamples samples;
    samples.add(10, 8).add(10, 9).add(10, 12); // 2 + 1 + 2
    samples.add(10, 0, 0, true, true);         // manual
    samples.add(10, 0, 0, false);              // off
    samples.add(10, 10.5).add(10, 10);         // 0.5, and the last for no time
    const CLoopStatistics& s = samples.finished();
    EXPECT_DOUBLE_EQ(5.5, s.integralOfError());
    EXPECT_EQ(6s, s.observed());
    EXPECT_EQ(4s, s.automatic());
    EXPECT_EQ(2s, s.outOfBand()) << "beyond 1: the first and the third";
    EXPECT_EQ(7U, s.samples());
}

TEST(LoopStatisticsTest, BandMayBeAShareOfTheSetPoint)
{
    CSamples samples(SBand{5.0, true});
    samples.add(-100, -94).add(-100, -96).add(10, 10.6).add(10, 10.4).add(10, 10);
    EXPECT_EQ(2s, samples.finished().outOfBand());
}

TEST(LoopStatisticsTest, GapCountsForNothing)
{
    CSamples samples;
    samples.add(10, 5).add(10, 5).add(10, 5);
    samples.time += 1h;
    samples.add(20, 15).add(20, 15);
    const CLoopStatistics& s = samples.finished();
    EXPECT_EQ(3s, s.observed());
    EXPECT_DOUBLE_EQ(15.0, s.integralOfError());
    EXPECT_TRUE(s.changes().empty()) << "what happened meanwhile is not known";
}

TEST(LoopStatisticsTest, TimeWithFaultsIsCounted)
{
    CSamples samples;
    samples.add(1, 1).add(1, 1, 0, true, false, EHealth::Fault).add(1, 1, 0, true, false, EHealth::BadInput);
    samples.add(1, 1, 0, true, false, EHealth::Waiting).add(1, 1);
    EXPECT_EQ(2s, samples.finished().faulty());
}

TEST(LoopStatisticsTest, OvershootIsThatOfEachChange)
{
    CSamples samples;
    samples.add(20, 20).add(20, 20).add(20, 20);
    samples.add(40, 20).add(40, 35).add(40, 45).add(40, 43).add(40, 39.5).add(40, 40); // 5 of 20
    samples.add(30, 40).add(30, 35).add(30, 29).add(30, 30.2).add(30, 30);             // 1 of 10, downwards
    samples.add(50, 30).add(50, 40);                                                   // none, not settled
    const auto changes = samples.finished().changes();
    ASSERT_EQ(3U, changes.size());
    EXPECT_EQ(noon + 3s, changes[0].time);
    EXPECT_EQ(20.0, changes[0].from);
    EXPECT_EQ(40.0, changes[0].to);
    EXPECT_DOUBLE_EQ(25.0, changes[0].overshoot_percent.value());
    EXPECT_EQ(4s, changes[0].settled.value()) << "at 39.5, for good";
    EXPECT_DOUBLE_EQ(10.0, changes[1].overshoot_percent.value());
    EXPECT_EQ(2s, changes[1].settled.value());
    EXPECT_DOUBLE_EQ(0.0, changes[2].overshoot_percent.value());
    EXPECT_FALSE(changes[2].settled);
}

TEST(LoopStatisticsTest, RampIsOneChange)
{
    CSamples samples;
    samples.add(20, 20).add(20, 20);
    for (int i = 1; i <= 30; ++i) {
        samples.add(20.0 + i, 20.0 + i - 1);
    }
    samples.add(50, 53).add(50, 50);
    const auto changes = samples.finished().changes();
    ASSERT_EQ(1U, changes.size());
    EXPECT_EQ(20.0, changes[0].from);
    EXPECT_EQ(50.0, changes[0].to);
    EXPECT_DOUBLE_EQ(10.0, changes[0].overshoot_percent.value());
}

TEST(LoopStatisticsTest, StartsOfTheActuatorNeedARestBefore)
{
    CSamples samples;
    for (const double y : {50.0, 0.0, 60.0, 20.0, 0.5, 1.5, 0.0, 1.5, -30.0, 2.5, 1.0, 2.5}) {
        samples.add(1, 1, y);
    }
    // at the third, the ninth (downwards) and the last; 1.5 is neither rest nor a start
    EXPECT_EQ(3U, samples.finished().starts());
}

TEST(LoopStatisticsTest, ValuesThatAreNotFiniteSpoilNothing)
{
    CSamples samples;
    samples.add(10, 9).add(10, std::numeric_limits<double>::quiet_NaN()).add(10, 9).add(10, 9);
    const CLoopStatistics& s = samples.finished();
    EXPECT_DOUBLE_EQ(2.0, s.integralOfError());
    EXPECT_EQ(3s, s.automatic());
}

TEST(LoopStatisticsTest, NothingOfNothing)
{
    CSamples samples;
    EXPECT_EQ(0U, samples.finished().samples());
    EXPECT_EQ(0s, samples.finished().observed());
}

} // namespace Rvl::Test
