#include "host/process/DeadlineTasks.h"

#include "tests/support/ProgramRun.h"

#include <gmock/gmock.h>

#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace Rvl::Test {

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

/// Numbers that several threads report.
struct SNumbers
{
    void add(int number)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        numbers.push_back(number);
    }
    std::vector<int> all()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return numbers;
    }
    std::mutex mutex;
    std::vector<int> numbers;
};

const SShutdownLimits limits = SShutdownLimits().scaled(0.2);

} // namespace

TEST(DeadlineTasksTest, NothingEndsAtOnce)
{
    CDeadlineTasks tasks;
    EXPECT_EQ(CDeadlineTasks::Collecting, tasks.state());
    EXPECT_THAT(tasks.run({}), IsEmpty());
    EXPECT_EQ(CDeadlineTasks::Ended, tasks.state());
}

TEST(DeadlineTasksTest, TasksAreCarriedOutOneAfterAnotherWhileTheyEnd)
{
    SNumbers numbers;
    CDeadlineTasks tasks;
    std::vector<int> expected;
    for (int number = 0; number < 50; ++number) {
        expected.push_back(number);
        tasks.add(std::to_string(number), [&numbers, number] {
            numbers.add(number);
            if (number % 2 == 0) {
                throw std::runtime_error("does not keep the others from being carried out");
            }
        });
    }
    EXPECT_THAT(tasks.run({}), IsEmpty());
    EXPECT_EQ(expected, numbers.all());
}

TEST(DeadlineTasksTest, TaskThatDoesNotEndIsNamedAndTheOthersAreCarriedOut)
{
    const auto numbers = std::make_shared<SNumbers>();
    const auto released = std::make_shared<std::promise<void>>();
    const auto gate = released->get_future().share();
    const auto left = std::make_shared<std::promise<void>>();
    std::future<void> hasLeft = left->get_future();
    const auto begin = std::chrono::steady_clock::now();
    {
        CDeadlineTasks tasks;
        tasks.add("a", [numbers] { numbers->add(0); });
        tasks.add("b", [gate, left] {
            gate.wait();
            left->set_value();
        });
        tasks.add("c", [numbers] { numbers->add(2); });
        tasks.add("d", [gate] { gate.wait(); });
        tasks.add("e", [numbers] { numbers->add(4); });
        EXPECT_THAT(tasks.run(limits), ElementsAre("b", "d"));
        EXPECT_EQ(CDeadlineTasks::GivenUp, tasks.state());
        EXPECT_TRUE(tasks.hasEnded(0));
        EXPECT_FALSE(tasks.hasEnded(1));
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begin, limits.progress);
    EXPECT_THAT(numbers->all(), testing::UnorderedElementsAre(0, 2, 4));
    released->set_value();
    hasLeft.wait(); // it goes on after the object is gone
}

TEST(DeadlineTasksTest, SlowTasksAreCarriedOutSideBySide)
{
    // each waits for the last one, which would never begin one after another
    std::promise<void> last;
    const auto gate = last.get_future().share();
    CDeadlineTasks tasks;
    for (int number = 0; number < 5; ++number) {
        tasks.add("waiting", [gate] { gate.wait(); });
    }
    tasks.add("last", [&last] { last.set_value(); });
    EXPECT_THAT(tasks.run({}), IsEmpty());
}

TEST(DeadlineTasksTest, ManyTasksThatTakeSomeTimeAreCarriedOutSideBySideFromTheLimitOn)
{
    CDeadlineTasks tasks;
    for (int number = 0; number < 100; ++number) {
        tasks.add("slow", [] { std::this_thread::sleep_for(milliseconds(50)); });
    }
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(tasks.run(limits), IsEmpty());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4))
        << "none takes long; one after another they take five seconds";
}

TEST(DeadlineTasksTest, TasksInOrderKeepIt)
{
    SNumbers numbers;
    CDeadlineTasks tasks;
    for (int number = 0; number < 4; ++number) {
        tasks.add("slow", [&numbers, number] {
            std::this_thread::sleep_for(2 * limits.task);
            numbers.add(number);
        });
    }
    EXPECT_THAT(tasks.run(limits, CDeadlineTasks::InOrder), IsEmpty());
    EXPECT_THAT(numbers.all(), ElementsAre(0, 1, 2, 3));
}

TEST(DeadlineTasksTest, TasksInOrderDoNotBeginAfterOneThatDoesNotEnd)
{
    const auto numbers = std::make_shared<SNumbers>();
    const auto released = std::make_shared<std::promise<void>>();
    const auto gate = released->get_future().share();
    CDeadlineTasks tasks;
    tasks.add("a", [numbers] { numbers->add(0); });
    tasks.add("b", [gate, numbers] {
        gate.wait();
        numbers->add(1);
    });
    tasks.add("c", [numbers] { numbers->add(2); });
    EXPECT_THAT(tasks.run(limits, CDeadlineTasks::InOrder), ElementsAre("b", "c"));
    EXPECT_THAT(numbers->all(), ElementsAre(0));
    released->set_value();
    EXPECT_TRUE(eventually([&] { return numbers->all().size() > 1; }));
    std::this_thread::sleep_for(milliseconds(100)); // there is no event to wait for
    EXPECT_THAT(numbers->all(), ElementsAre(0, 1)) << "the third needs the second to have ended in time";
}

TEST(DeadlineTasksTest, StartCarriesAllOutSideBySide)
{
    const auto released = std::make_shared<std::promise<void>>();
    const auto gate = released->get_future().share();
    const auto numbers = std::make_shared<SNumbers>();
    CDeadlineTasks tasks;
    tasks.add("a", [gate, numbers] {
        gate.wait();
        numbers->add(0);
    });
    tasks.add("b", [numbers] { numbers->add(1); });
    tasks.start();
    EXPECT_TRUE(eventually([&] { return numbers->all().size() == 1; }));
    EXPECT_FALSE(tasks.wait(milliseconds(50)));
    EXPECT_THAT(tasks.unfinished(), ElementsAre("a"));
    released->set_value();
    EXPECT_TRUE(tasks.wait(std::chrono::minutes(1)));
    EXPECT_EQ(CDeadlineTasks::Ended, tasks.state());
    EXPECT_THAT(numbers->all(), ElementsAre(1, 0));
}

TEST(DeadlineTasksTest, InlineTasksAreCarriedOutInOrderOnTheCallersThread)
{
    std::vector<int> numbers;
    CDeadlineTasks tasks(CDeadlineTasks::Inline);
    for (int number = 0; number < 3; ++number) {
        tasks.add("inline", [&numbers, number, caller = std::this_thread::get_id()] {
            EXPECT_EQ(caller, std::this_thread::get_id());
            std::this_thread::sleep_for(2 * limits.task);
            numbers.push_back(number);
            throw std::runtime_error("does not keep the others from being carried out");
        });
    }
    SShutdownLimits none = limits;
    none.progress = milliseconds(1);
    EXPECT_THAT(tasks.run(none), IsEmpty());
    EXPECT_THAT(numbers, ElementsAre(0, 1, 2));
    EXPECT_EQ(CDeadlineTasks::Ended, tasks.state());
}

} // namespace Rvl::Test
