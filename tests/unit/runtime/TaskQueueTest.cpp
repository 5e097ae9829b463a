#include "runtime/TaskQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace Rvl::Test {

namespace {

using std::chrono::nanoseconds;
using testing::ElementsAre;

struct TaskQueueTest : testing::Test
{
    CTaskQueue::Ticket add(int due, const std::string& name, void* by = nullptr)
    {
        return queue.add(nanoseconds(due), by ? by : &owner, [this, name] { done.push_back(name); });
    }

    void runAll()
    {
        while (queue.nextDue()) {
            queue.takeNext().task();
        }
    }

    CTaskQueue queue;
    int owner = 0;
    int other = 0;
    std::vector<std::string> done;
};

} // namespace

TEST_F(TaskQueueTest, TasksOfBusyOwnersArePassedOverAndKeepTheirOrder)
{
    const auto cancelled = add(10, "cancelled");
    add(10, "a");
    add(20, "b", &other);
    add(10, "c");
    const auto isBusy = [this](const void* by) { return by == &owner; };
    const auto next = queue.takeNextUnless(isBusy);
    ASSERT_TRUE(next);
    EXPECT_EQ(&other, next->owner);
    next->task();
    EXPECT_FALSE(queue.takeNextUnless(isBusy));
    EXPECT_TRUE(queue.cancel(cancelled, &owner));
    runAll();
    EXPECT_THAT(done, ElementsAre("b", "a", "c"));
}

TEST_F(TaskQueueTest, TakesTheEarliestFirst)
{
    add(30, "c");
    add(10, "a");
    add(20, "b");
    EXPECT_EQ(nanoseconds(10), queue.nextDue());
    runAll();
    EXPECT_THAT(done, ElementsAre("a", "b", "c"));
    EXPECT_TRUE(queue.isEmpty());
}

TEST_F(TaskQueueTest, TakesTheFirstAddedOfThoseDueTogether)
{
    std::vector<std::string> names;
    for (int number = 0; number < 100; ++number) {
        names.push_back(std::to_string(number));
        add(5, names.back());
    }
    runAll();
    EXPECT_EQ(names, done);
}

TEST_F(TaskQueueTest, ReportsOwnerAndTime)
{
    add(7, "a", &other);
    const CTaskQueue::SDue next = queue.takeNext();
    EXPECT_EQ(&other, next.owner);
    EXPECT_EQ(nanoseconds(7), next.due);
}

TEST_F(TaskQueueTest, CancelledTaskIsNotTaken)
{
    add(1, "a");
    const auto ticket = add(2, "b");
    add(3, "c");
    EXPECT_TRUE(queue.cancel(ticket, &owner));
    runAll();
    EXPECT_THAT(done, ElementsAre("a", "c"));
}

TEST_F(TaskQueueTest, CancellingTheOnlyTaskEmptiesTheQueue)
{
    const auto ticket = add(1, "a");
    EXPECT_TRUE(queue.cancel(ticket, &owner));
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(std::nullopt, queue.nextDue());
}

TEST_F(TaskQueueTest, OldTicketCancelsNothing)
{
    const auto ticket = add(1, "a");
    runAll();
    add(2, "b"); // at the same place
    EXPECT_FALSE(queue.cancel(ticket, &owner));
    EXPECT_FALSE(queue.cancel(12345, &owner));
    runAll();
    EXPECT_THAT(done, ElementsAre("a", "b"));
}

TEST_F(TaskQueueTest, TicketOfAnotherOwnerCancelsNothing)
{
    const auto ticket = add(1, "a", &other);
    EXPECT_FALSE(queue.cancel(ticket, &owner));
    runAll();
    EXPECT_THAT(done, ElementsAre("a"));
}

TEST_F(TaskQueueTest, CancelAllTakesOutWhatOneOwnerHas)
{
    add(1, "a");
    add(2, "b", &other);
    add(3, "c");
    EXPECT_EQ(2U, queue.cancelAll(&owner).size());
    runAll();
    EXPECT_THAT(done, ElementsAre("b"));
}

TEST_F(TaskQueueTest, TicketsDiffer)
{
    std::set<CTaskQueue::Ticket> tickets;
    for (int number = 0; number < 1000; ++number) {
        tickets.insert(add(1, "a"));
        if (number % 3 == 0) {
            queue.takeNext();
        }
    }
    EXPECT_EQ(1000U, tickets.size());
    EXPECT_EQ(0U, tickets.count(0));
}

} // namespace Rvl::Test
