#include "runtime/VirtualTimeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace Rvl::Test {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr std::chrono::system_clock::time_point start{std::chrono::hours(24)};

struct VirtualTimelineTest : testing::Test
{
    /// Has `worker` note "NAME at MILLISECONDS" every interval.
    void every(IWorker& worker, std::chrono::milliseconds interval, const std::string& name)
    {
        worker.after(interval, [this, &worker, interval, name] {
            note(name);
            every(worker, interval, name);
        });
    }

    void note(const std::string& name)
    {
        done.push_back(name + " at " + std::to_string(timeline.monotonic() / 1ms));
    }

    CVirtualTimeline timeline{start};
    std::vector<std::string> done; ///< before the workers, whose end carries out what is posted
    std::unique_ptr<IWorker> first = timeline.makeWorker("first");
    std::unique_ptr<IWorker> second = timeline.makeWorker("second");
};

} // namespace

TEST_F(VirtualTimelineTest, TimeStandsUntilItIsRun)
{
    EXPECT_EQ(0ns, timeline.monotonic());
    EXPECT_EQ(start, timeline.utc());
    timeline.runFor(1500ms);
    EXPECT_EQ(1500ms, timeline.monotonic());
    EXPECT_EQ(start + 1500ms, timeline.utc());
}

TEST_F(VirtualTimelineTest, CarriesOutTasksOfAllWorkersWhenTheyAreDue)
{
    every(*first, 20ms, "a");
    every(*second, 30ms, "b");
    timeline.runFor(60ms);
    EXPECT_THAT(done, ElementsAre("a at 20", "b at 30", "a at 40", "b at 60", "a at 60"))
        << "of two due together the one that was handed over first comes first";
    EXPECT_EQ(5U, timeline.taskCount());
    timeline.runFor(19ms);
    EXPECT_EQ(5U, done.size());
    timeline.runFor(1ms);
    EXPECT_EQ("a at 80", done.back());
}

TEST_F(VirtualTimelineTest, PostedTasksTakeNoTime)
{
    first->post([&] {
        note("a");
        second->post([&] { note("b"); });
    });
    timeline.runFor(0ms);
    EXPECT_THAT(done, ElementsAre("a at 0", "b at 0"));
}

TEST_F(VirtualTimelineTest, TaskInThePastIsCarriedOutNow)
{
    timeline.runFor(10ms);
    first->after(-5ms, [&] { note("a"); });
    timeline.runFor(0ms);
    EXPECT_THAT(done, ElementsAre("a at 10"));
}

TEST_F(VirtualTimelineTest, CancelledTaskIsNotCarriedOut)
{
    const auto ticket = first->after(1ms, [&] { note("a"); });
    second->cancel(ticket); // another worker's
    first->after(2ms, [&] { note("b"); });
    first->cancel(ticket);
    timeline.runFor(5ms);
    EXPECT_THAT(done, ElementsAre("b at 2"));
}

TEST_F(VirtualTimelineTest, StopCarriesOutWhatWasPostedAndDropsWhatIsDelayed)
{
    first->after(0ms, [&] { note("delayed"); });
    first->post([&] { note("posted"); });
    second->post([&] { note("of another worker"); });
    first->stopAndJoin();
    EXPECT_THAT(done, ElementsAre("posted at 0"));
    first->post([&] { note("too late"); });
    first->after(0ms, [&] { note("too late"); });
    timeline.runFor(1ms);
    EXPECT_THAT(done, ElementsAre("posted at 0", "of another worker at 0"));
}

TEST_F(VirtualTimelineTest, BeginOfAStopDropsWhatIsDelayedAndLeavesWhatWasPosted)
{
    first->after(0ms, [&] { note("delayed"); });
    first->post([&] { note("posted"); });
    first->post([&] { note("posted next"); });
    first->beginStop();
    first->beginStop();
    EXPECT_THAT(done, testing::IsEmpty());
    first->post([&] { note("too late"); });
    timeline.runFor(1ms);
    EXPECT_THAT(done, ElementsAre("posted at 0", "posted next at 0"));
    first->stopAndJoin();
    EXPECT_EQ(2U, done.size());
}

TEST_F(VirtualTimelineTest, StopFromItsOwnTaskThrows)
{
    first->post([&] { first->stopAndJoin(); });
    EXPECT_THROW(timeline.runFor(1ms), std::logic_error);
}

TEST_F(VirtualTimelineTest, WhatATaskThrowsPassesAndTheRunCanGoOn)
{
    first->after(1ms, [] { throw std::runtime_error("failed"); });
    first->after(2ms, [&] { note("next"); });
    EXPECT_THROW(timeline.runFor(5ms), std::runtime_error);
    EXPECT_EQ(1ms, timeline.monotonic());
    timeline.runFor(5ms);
    EXPECT_THAT(done, ElementsAre("next at 2"));
}

TEST_F(VirtualTimelineTest, IsCurrentInItsOwnTasksOnly)
{
    first->post([&] {
        EXPECT_TRUE(first->isCurrent());
        EXPECT_FALSE(second->isCurrent());
        note("checked");
    });
    timeline.runFor(0ms);
    EXPECT_EQ(1U, done.size());
    EXPECT_FALSE(first->isCurrent());
}

TEST_F(VirtualTimelineTest, WaitRunsTheQueueUntilTheConditionHolds)
{
    std::mutex mutex;
    std::condition_variable changed;
    every(*first, 10ms, "a");
    std::unique_lock<std::mutex> lock(mutex);
    timeline.wait(lock, changed, [&] { return done.size() == 3; });
    EXPECT_TRUE(lock.owns_lock());
    EXPECT_EQ(30ms, timeline.monotonic());
}

TEST_F(VirtualTimelineTest, WaitInATaskKeepsItsWorkersOtherTasksForLater)
{
    std::mutex mutex;
    std::condition_variable changed;
    every(*second, 10ms, "b");
    first->post([&] {
        first->post([&] { note("after it"); });
        std::unique_lock<std::mutex> lock(mutex);
        timeline.wait(lock, changed, [&] { return done.size() == 2; });
        note("end of the wait");
    });
    timeline.runFor(20ms);
    EXPECT_THAT(done, ElementsAre("b at 10", "b at 20", "end of the wait at 20", "after it at 20"));
}

TEST_F(VirtualTimelineTest, WhatIsKeptDuringAWaitStaysInOrderAndCanBeCancelled)
{
    std::mutex mutex;
    std::condition_variable changed;
    every(*second, 10ms, "b");
    first->post([&] {
        first->after(4ms, [&] { note("second"); });
        const auto cancelled = first->after(2ms, [&] { note("cancelled"); });
        first->after(3ms, [&] { note("first"); });
        std::unique_lock<std::mutex> lock(mutex);
        timeline.wait(lock, changed, [&] { return done.size() == 1; });
        first->cancel(cancelled);
    });
    timeline.runFor(10ms);
    EXPECT_THAT(done, ElementsAre("b at 10", "first at 10", "second at 10"));
}

TEST_F(VirtualTimelineTest, WaitingWorkerIsNotCurrentInAnothersTask)
{
    std::mutex mutex;
    std::condition_variable changed;
    second->after(1ms, [&] {
        EXPECT_FALSE(first->isCurrent());
        EXPECT_TRUE(second->isCurrent());
        note("checked");
    });
    first->post([&] {
        std::unique_lock<std::mutex> lock(mutex);
        timeline.wait(lock, changed, [&] { return done.size() == 1; });
        EXPECT_TRUE(first->isCurrent());
        EXPECT_FALSE(second->isCurrent());
        note("checked after the wait");
    });
    timeline.runFor(1ms);
    EXPECT_THAT(done, ElementsAre("checked at 1", "checked after the wait at 1"));
}

TEST_F(VirtualTimelineTest, WaitForATaskOfItsOwnWorkerThrows)
{
    std::mutex mutex;
    std::condition_variable changed;
    first->post([&] {
        first->post([&] { note("own"); });
        std::unique_lock<std::mutex> lock(mutex);
        timeline.wait(lock, changed, [&] { return !done.empty(); });
    });
    EXPECT_THROW(timeline.runFor(1ms), std::runtime_error);
}

TEST_F(VirtualTimelineTest, WaitForWhatCannotHappenThrows)
{
    std::mutex mutex;
    std::condition_variable changed;
    std::unique_lock<std::mutex> lock(mutex);
    EXPECT_THROW(timeline.wait(lock, changed, [] { return false; }), std::runtime_error);
}

TEST_F(VirtualTimelineTest, StopRequestEndsTheRunAfterTheTaskUnderWay)
{
    every(*first, 10ms, "a");
    first->after(25ms, [&] { timeline.requestStop(); });
    timeline.runFor(1h);
    EXPECT_EQ(25ms, timeline.monotonic());
    timeline.runFor(1h);
    EXPECT_EQ(25ms, timeline.monotonic()) << "no later run goes on";
    EXPECT_EQ(2U, done.size());
}

TEST_F(VirtualTimelineTest, DestroyedWorkerCarriesOutWhatWasPostedAndLeavesNoTaskBehind)
{
    first->after(1ms, [&] { note("delayed"); });
    first->post([&] { note("posted"); });
    first.reset();
    EXPECT_THAT(done, ElementsAre("posted at 0"));
    timeline.runFor(5ms);
    EXPECT_EQ(1U, done.size());
}

TEST_F(VirtualTimelineTest, StopRequestEndsAWait)
{
    std::mutex mutex;
    std::condition_variable changed;
    every(*first, 10ms, "a");
    first->after(25ms, [&] { timeline.requestStop(); });
    std::unique_lock<std::mutex> lock(mutex);
    EXPECT_THROW(timeline.wait(lock, changed, [] { return false; }), std::runtime_error);
    EXPECT_EQ(25ms, timeline.monotonic());
}

} // namespace Rvl::Test
