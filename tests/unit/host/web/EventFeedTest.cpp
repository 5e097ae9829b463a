#include "host/web/EventFeed.h"

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

using namespace Rvl;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class CFakeClient : public IEventClient
{
public:
    std::size_t backlog() const override { return waiting; }
    void send(std::shared_ptr<const std::string> event) override { events.push_back(std::move(event)); }

    /// The names of the events so far, which are forgotten.
    std::vector<std::string> takeNames()
    {
        std::vector<std::string> names;
        for (const auto& event : events) {
            names.push_back(event->substr(7, event->find('\n') - 7));
        }
        events.clear();
        return names;
    }

    std::size_t waiting = 0;
    std::vector<std::shared_ptr<const std::string>> events;
};

class EventFeedTest : public testing::Test
{
protected:
    void pass(int snapshots)
    {
        for (int i = 0; i < snapshots; ++i) {
            auto snapshot = std::make_shared<SSnapshot>();
            snapshot->controllers.resize(1);
            snapshot->controllers[0].name = "Vessel";
            snapshot->controllers[0].actualValue = ++value_;
            feed_.onSnapshot(snapshot);
        }
    }
    std::shared_ptr<CFakeClient> client(std::chrono::milliseconds interval)
    {
        auto result = std::make_shared<CFakeClient>();
        feed_.add(result, interval);
        return result;
    }

    CEventFeed feed_;
    double value_ = 0.0;
};

} // namespace

TEST_F(EventFeedTest, ClientGetsEverythingFirstAndThenChanges)
{
    const auto fast = client(100ms);
    pass(1);
    ASSERT_THAT(fast->events, SizeIs(1));
    EXPECT_THAT(*fast->events[0],
                HasSubstr("event: snapshot\ndata: {\"time\":\"1970-01-01T00:00:00.000Z\",\"states\":"
                          "{\"Vessel\":{\"setPoint\":0.0,\"actualValue\":1.0,"));
    pass(1);
    ASSERT_THAT(fast->events, SizeIs(2));
    EXPECT_EQ("event: changes\ndata: {\"time\":\"1970-01-01T00:00:00.000Z\",\"states\":{\"Vessel\":{"
              "\"actualValue\":2.0}}}\n\n",
              *fast->events[1]);
}

TEST_F(EventFeedTest, EachClientHasItsIntervalRoundedUp)
{
    const auto fast = client(1ms);
    const auto slow = client(201ms);
    pass(1);
    EXPECT_THAT(fast->takeNames(), ElementsAre("snapshot"));
    EXPECT_THAT(slow->takeNames(), ElementsAre("snapshot")) << "does not wait for the interval";
    pass(6);
    EXPECT_THAT(fast->takeNames(), SizeIs(6));
    EXPECT_THAT(slow->takeNames(), ElementsAre("changes", "changes"));
}

TEST_F(EventFeedTest, ClientsOfOneIntervalShareTheText)
{
    const auto first = client(100ms);
    const auto second = client(100ms);
    pass(2);
    EXPECT_EQ(first->events[0], second->events[0]);
    EXPECT_EQ(first->events[1], second->events[1]);
}

TEST_F(EventFeedTest, LaterClientBeginsWithEverything)
{
    const auto first = client(100ms);
    pass(2);
    const auto later = client(100ms);
    pass(2);
    EXPECT_THAT(later->takeNames(), ElementsAre("snapshot", "changes"));
}

TEST_F(EventFeedTest, LaterClientOfALongIntervalDoesNotWaitForIt)
{
    const auto first = client(60s);
    pass(1);
    const auto later = client(60s);
    pass(1);
    ASSERT_THAT(later->events, SizeIs(1));
    EXPECT_EQ(*first->events[0], *later->events[0]) << "what the next changes go on from";
}

TEST_F(EventFeedTest, SlowClientIsLeftOutAndGetsEverythingAfterwards)
{
    const auto slow = client(100ms);
    pass(1);
    slow->takeNames();
    slow->waiting = 1;
    pass(3);
    EXPECT_THAT(slow->events, IsEmpty());
    slow->waiting = 0;
    pass(2);
    EXPECT_THAT(slow->takeNames(), ElementsAre("snapshot", "changes"));
}

TEST_F(EventFeedTest, BroadcastReachesEveryoneButALongBacklog)
{
    const auto idle = client(100ms);
    const auto busy = client(500ms);
    busy->waiting = 100;
    feed_.broadcast("command", {{"what", "set point"}});
    ASSERT_THAT(idle->events, SizeIs(1));
    EXPECT_EQ("event: command\ndata: {\"what\":\"set point\"}\n\n", *idle->events[0]);
    EXPECT_THAT(busy->events, IsEmpty());
}

TEST_F(EventFeedTest, ClientThatIsGoneIsForgotten)
{
    auto first = client(100ms);
    const auto second = client(100ms);
    EXPECT_EQ(2u, feed_.clientCount());
    first.reset();
    pass(1);
    EXPECT_EQ(1u, feed_.clientCount());
    EXPECT_THAT(second->takeNames(), ElementsAre("snapshot"));
}
