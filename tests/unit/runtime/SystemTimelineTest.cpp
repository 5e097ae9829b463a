#include "runtime/SystemTimeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#if defined(__linux__)
#include <sys/prctl.h>
#endif

namespace Rvl::Test {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

struct SystemTimelineTest : testing::Test
{
    CSystemTimeline timeline;
    std::unique_ptr<IWorker> worker = timeline.makeWorker("test worker");
};

} // namespace

TEST_F(SystemTimelineTest, BothClocksGoOn)
{
    const auto monotonic = timeline.monotonic();
    const auto utc = timeline.utc();
    std::this_thread::sleep_for(2ms);
    EXPECT_GE(timeline.monotonic() - monotonic, 2ms);
    EXPECT_GT(timeline.utc(), utc);
}

TEST_F(SystemTimelineTest, CarriesOutPostedTasksInTheirOrderOnAThreadOfItsOwn)
{
    std::vector<int> done;
    std::thread::id thread;
    for (int number = 0; number < 3; ++number) {
        worker->post([&, number] {
            done.push_back(number);
            thread = std::this_thread::get_id();
        });
    }
    worker->stopAndJoin();
    EXPECT_THAT(done, ElementsAre(0, 1, 2));
    EXPECT_NE(std::this_thread::get_id(), thread);
}

TEST_F(SystemTimelineTest, CarriesOutADelayedTaskNotBeforeItsTime)
{
    std::promise<std::chrono::nanoseconds> done;
    const auto begin = timeline.monotonic();
    worker->after(20ms, [&] { done.set_value(timeline.monotonic()); });
    EXPECT_GE(done.get_future().get() - begin, 20ms);
}

TEST_F(SystemTimelineTest, AnEarlierTaskOvertakesALaterOne)
{
    std::promise<void> done;
    worker->after(1h, [] { FAIL() << "dropped by the end"; });
    worker->after(1ms, [&] { done.set_value(); });
    EXPECT_EQ(std::future_status::ready, done.get_future().wait_for(30s));
}

TEST_F(SystemTimelineTest, TasksWithoutADelayTakeTurns)
{
    std::vector<std::string> done;
    std::promise<void> end;
    std::function<void()> first = [&] {
        done.push_back("first");
        if (done.size() < 4) {
            worker->after(-1ms, first);
        } else {
            end.set_value();
        }
    };
    std::function<void()> second = [&] {
        done.push_back("second");
        worker->after(-1ms, second);
    };
    worker->post([&] {
        worker->after(-1ms, first);
        worker->after(-1ms, second);
    });
    end.get_future().wait();
    worker->stopAndJoin();
    EXPECT_EQ("first", done.at(0));
    EXPECT_EQ("second", done.at(1));
    EXPECT_EQ("first", done.at(2));
}

TEST_F(SystemTimelineTest, CancelledTaskIsNotCarriedOut)
{
    std::atomic<bool> done{false};
    std::promise<void> cancelled;
    std::promise<void> later;
    worker->post([&] { cancelled.get_future().wait(); });
    const auto ticket = worker->after(5ms, [&] { done = true; });
    worker->cancel(ticket);
    cancelled.set_value();
    worker->after(10ms, [&] { later.set_value(); });
    later.get_future().wait();
    EXPECT_FALSE(done);
}

TEST_F(SystemTimelineTest, StopCarriesOutWhatWasPostedAndDropsWhatIsDelayed)
{
    std::atomic<int> done{0};
    std::promise<void> stopping;
    worker->post([&] { stopping.get_future().wait(); });
    worker->after(1ms, [&] { done += 100; });
    worker->post([&] { ++done; });
    std::thread stop([&] { worker->stopAndJoin(); });
    const auto kept = std::make_shared<int>();
    for (long holders = 0; kept.use_count() > holders;) { // until the worker takes nothing more
        holders = kept.use_count();
        worker->post([kept] {});
        std::this_thread::sleep_for(1ms);
    }
    stopping.set_value();
    stop.join();
    EXPECT_EQ(1, done);
    worker->post([&] { ++done; });
    worker->stopAndJoin();
    EXPECT_EQ(1, done) << "nothing is carried out any more";
}

TEST_F(SystemTimelineTest, BeginOfAStopWaitsForNoTaskAndNoFurtherOneIsBegun)
{
    std::promise<void> begun;
    std::promise<void> mayEnd;
    std::atomic<int> done{0};
    worker->after(0ms, [&] {
        begun.set_value();
        mayEnd.get_future().wait();
        worker->beginStop(); // also from its own task
        ++done;
    });
    worker->after(0ms, [&] { done += 100; });
    begun.get_future().wait();
    worker->beginStop();
    worker->post([&] { done += 100; });
    mayEnd.set_value();
    worker->stopAndJoin();
    EXPECT_EQ(1, done);
}

TEST_F(SystemTimelineTest, StopFromItsOwnTaskThrows)
{
    std::promise<std::string> message;
    worker->post([&] {
        try {
            worker->stopAndJoin();
            message.set_value("");
        } catch (const std::logic_error& error) {
            message.set_value(error.what());
        }
    });
    EXPECT_EQ("a worker cannot wait for the end of its own task", message.get_future().get());
}

TEST_F(SystemTimelineTest, IsCurrentInItsOwnTasksOnly)
{
    const auto other = timeline.makeWorker("other");
    std::promise<std::vector<bool>> current;
    worker->post([&] { current.set_value({worker->isCurrent(), other->isCurrent()}); });
    EXPECT_THAT(current.get_future().get(), ElementsAre(true, false));
    EXPECT_FALSE(worker->isCurrent());
}

#if defined(__linux__)
TEST_F(SystemTimelineTest, ThreadBearsTheWorkersName)
{
    std::promise<std::string> name;
    worker->post([&] {
        std::ifstream file("/proc/thread-self/comm");
        std::string line;
        std::getline(file, line);
        name.set_value(line);
    });
    EXPECT_EQ("test worker", name.get_future().get());
}

TEST_F(SystemTimelineTest, WaitsOfAWorkerHaveTheLeastSlack)
{
    std::promise<int> slack_ns;
    worker->post([&] { slack_ns.set_value(prctl(PR_GET_TIMERSLACK)); });
    EXPECT_EQ(1, slack_ns.get_future().get());
}
#endif

TEST_F(SystemTimelineTest, WaitEndsWhenTheConditionHolds)
{
    std::mutex mutex;
    std::condition_variable changed;
    bool isTrue = false;
    worker->post([&] {
        const std::lock_guard<std::mutex> lock(mutex);
        isTrue = true;
        changed.notify_all();
    });
    std::unique_lock<std::mutex> lock(mutex);
    timeline.wait(lock, changed, [&] { return isTrue; });
    EXPECT_TRUE(isTrue);
    EXPECT_TRUE(lock.owns_lock());
}

} // namespace Rvl::Test
