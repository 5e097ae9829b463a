#include "host/web/LiveState.h"

#include <gtest/gtest.h>

#include <chrono>

using namespace Rvl;
using namespace std::chrono_literals;

namespace {

SSnapshot snapshotAt(std::chrono::seconds time, double actualValue)
{
    SSnapshot snapshot;
    snapshot.utc = std::chrono::system_clock::time_point(time);
    snapshot.controllers.resize(2);
    snapshot.controllers[1].actualValue = actualValue;
    return snapshot;
}

} // namespace

TEST(LiveState, LatestSnapshotIsKeptAndHandedOn)
{
    int handedOn = 0;
    CLiveState live([&](const CLiveState::Snapshot& snapshot) {
        handedOn += snapshot->controllers[1].actualValue == 2.0 ? 1 : 0;
    });
    EXPECT_FALSE(live.latest());
    EXPECT_TRUE(live.take(snapshotAt(1s, 1.0)));
    EXPECT_TRUE(live.take(snapshotAt(2s, 2.0)));
    EXPECT_EQ(2.0, live.latest()->controllers[1].actualValue);
    EXPECT_EQ(1, handedOn);
}

TEST(TrendMemory, TenMinutesAreKept)
{
    CTrendMemory trend;
    EXPECT_TRUE(trend.rows(1, {}, 10).empty());
    for (int second = 1; second <= 700; ++second) {
        trend.take(snapshotAt(std::chrono::seconds(second), second));
    }
    const auto all = trend.rows(1, {}, 10000);
    ASSERT_EQ(600u, all.size());
    EXPECT_EQ(101.0, all.front().actualValue);
    EXPECT_EQ(700.0, all.back().actualValue);
    EXPECT_TRUE(trend.rows(2, {}, 10).empty()) << "no such controller";
    EXPECT_TRUE(trend.rows(1, {}, 10, 1).empty()) << "no such loop";
}

TEST(TrendMemory, LoopsBelowTheOutermostHaveTheirOwn)
{
    CTrendMemory trend;
    SSnapshot snapshot = snapshotAt(1s, 30.0);
    snapshot.controllers[1].loops.resize(2);
    snapshot.controllers[1].loops[1].actualValue = 50.0;
    trend.take(snapshot);
    EXPECT_EQ(30.0, trend.rows(1, {}, 10).at(0).actualValue);
    EXPECT_EQ(50.0, trend.rows(1, {}, 10, 1).at(0).actualValue);
}

TEST(TrendMemory, FewPointsAreSpreadEvenlyBackFromTheLatest)
{
    CTrendMemory trend;
    for (int second = 1; second <= 10; ++second) {
        trend.take(snapshotAt(std::chrono::seconds(second), second));
    }
    std::vector<double> values;
    for (const auto& row : trend.rows(1, std::chrono::system_clock::time_point(4s), 3)) {
        values.push_back(row.actualValue);
    }
    EXPECT_EQ((std::vector<double>{4.0, 7.0, 10.0}), values);
    EXPECT_TRUE(trend.rows(1, {}, 0).empty());
}
