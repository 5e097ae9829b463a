#include "host/process/DeadlineTasks.h"

#include "tests/support/ProgramRun.h"

#include <gmock/gmock.h>

#include <future>
#include <stdexcept>
#include <thread>

namespace Rvl::Test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Numbers as several threads tell them.
struct SNumbers
{
    void add(int number)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        all.push_back(number);
    }
    std::mutex mutex;
    std::vector<int> all;
};

} // namespace

TEST(DeadlineTasksTest, NothingIsDoneAtOnce)
{
    EXPECT_THAT(doAllPatiently({}), IsEmpty());
}

TEST(DeadlineTasksTest, ThingsAreDoneOneAfterAnotherWhileTheyEnd)
{
    SNumbers numbers;
    std::vector<std::function<void()>> actions;
    std::vector<int> expected;
    for (int number = 0; number < 50; ++number) {
        expected.push_back(number);
        actions.emplace_back([&numbers, number] {
            numbers.add(number);
            if (number % 2 == 0) {
                throw std::runtime_error("no reason not to do the others");
            }
        });
    }
    EXPECT_THAT(doAllPatiently(actions), IsEmpty());
    EXPECT_EQ(expected, numbers.all);
}

TEST(DeadlineTasksTest, WhatDoesNotEndIsLeftAndTheRestIsDone)
{
    const auto numbers = std::make_shared<SNumbers>();
    const auto released = std::make_shared<std::promise<void>>();
    const auto gate = released->get_future().share();
    const auto left = std::make_shared<std::promise<void>>();
    std::future<void> hasLeft = left->get_future();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(doAllPatiently({[numbers] { numbers->add(0); },
                                [gate, numbers, left] {
                                    gate.wait();
                                    left->set_value();
                                },
                                [numbers] { numbers->add(2); }, [gate] { gate.wait(); },
                                [numbers] { numbers->add(4); }}),
                ElementsAre(1, 3));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, generalPatience);
    {
        const std::lock_guard<std::mutex> lock(numbers->mutex);
        EXPECT_THAT(numbers->all, testing::UnorderedElementsAre(0, 2, 4));
    }
    released->set_value();
    hasLeft.wait();
}

TEST(DeadlineTasksTest, SlowThingsAreDoneSideBySide)
{
    // each waits for the last one, which one after another would never come
    std::promise<void> last;
    const auto gate = last.get_future().share();
    std::vector<std::function<void()>> actions(5, [gate] { gate.wait(); });
    actions.emplace_back([&last] { last.set_value(); });
    EXPECT_THAT(doAllPatiently(actions), IsEmpty());
}

TEST(DeadlineTasksTest, ManyThingsThatTakeTheirTimeAreDoneSideBySideInTheEnd)
{
    const std::vector<std::function<void()>> actions(
        100, [] { std::this_thread::sleep_for(std::chrono::milliseconds(100)); });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(doAllPatiently(actions), IsEmpty());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(8))
        << "none of them takes long, all of them one after another take ten seconds";
}

TEST(DeadlineTasksTest, WhatHasAnOrderKeepsIt)
{
    SNumbers numbers;
    std::vector<std::function<void()>> actions;
    std::vector<int> expected;
    for (int number = 0; number < 4; ++number) {
        expected.push_back(number);
        actions.emplace_back([&numbers, number] {
            std::this_thread::sleep_for(2 * sequencePatience);
            numbers.add(number);
        });
    }
    EXPECT_THAT(doAllPatiently(actions, generalPatience, eOrder::AsGiven), IsEmpty());
    EXPECT_EQ(expected, numbers.all);
}

TEST(DeadlineTasksTest, WhatHasAnOrderIsNotDoneAfterWhatDoesNotEnd)
{
    const auto numbers = std::make_shared<SNumbers>();
    const auto released = std::make_shared<std::promise<void>>();
    const auto gate = released->get_future().share();
    const std::vector<std::function<void()>> actions{[numbers] { numbers->add(0); },
                                                     [gate, numbers] {
                                                         gate.wait();
                                                         numbers->add(1);
                                                     },
                                                     [numbers] { numbers->add(2); }};
    EXPECT_THAT(doAllPatiently(actions, std::chrono::milliseconds(400), eOrder::AsGiven), ElementsAre(1, 2));
    const auto all = [numbers] {
        const std::lock_guard<std::mutex> lock(numbers->mutex);
        return numbers->all;
    };
    EXPECT_THAT(all(), ElementsAre(0));
    released->set_value();
    EXPECT_TRUE(eventually([&] { return all().size() > 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // what shall not happen has no event
    EXPECT_THAT(all(), ElementsAre(0, 1)) << "what comes after it would not find what it needs";
}

} // namespace Rvl::Test
