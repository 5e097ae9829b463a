#include "host/process/CallWatch.h"

#include <gmock/gmock.h>

#include <optional>

namespace Rvl::Test {

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr milliseconds limit(2000);

CCallWatch::Clock::time_point afterwards()
{
    return CCallWatch::Clock::now() + limit;
}

} // namespace

TEST(CallWatchTest, NamesTheCallThatIsUnderWayTheLongest)
{
    CCallWatch watch(limit);
    EXPECT_EQ("", watch.current());
    {
        std::optional<CCallWatch::CCall> first(std::in_place, watch, "Bench");
        const CCallWatch::CCall second(watch, "Vessel");
        EXPECT_EQ("Bench", watch.current());
        first.reset();
        EXPECT_EQ("Vessel", watch.current());
    }
    EXPECT_EQ("", watch.current());
}

TEST(CallWatchTest, CallWithinItsLimitIsNotReported)
{
    CCallWatch watch(limit);
    {
        const CCallWatch::CCall call(watch, "Vessel");
        EXPECT_THAT(watch.report(), IsEmpty());
    }
    EXPECT_THAT(watch.report(afterwards()), IsEmpty()) << "it has returned";
}

TEST(CallWatchTest, HungCallIsReportedOnceAndSoIsItsReturn)
{
    CCallWatch watch(limit);
    {
        const CCallWatch::CCall call(watch, "Vessel");
        EXPECT_THAT(watch.report(afterwards()),
                    ElementsAre("hung call: Vessel has not returned for 2 s; nothing is shown or recorded "
                                "meanwhile"));
        EXPECT_THAT(watch.report(afterwards()), IsEmpty());
    }
    EXPECT_THAT(watch.report(), ElementsAre("hung call: Vessel has returned"));
    EXPECT_THAT(watch.report(), IsEmpty());
}

TEST(CallWatchTest, OnlyTheObserversCallsStopWhatIsShown)
{
    CCallWatch watch(limit);
    const CCallWatch::CCall call(watch, "Vessel", CCallWatch::Other);
    EXPECT_THAT(watch.report(afterwards()), ElementsAre("hung call: Vessel has not returned for 2 s"));
}

TEST(CallWatchTest, EachCallHasALimitOfItsOwn)
{
    CCallWatch watch(limit);
    const CCallWatch::CCall first(watch, "Vessel");
    const auto firstEnd = afterwards();
    while (CCallWatch::Clock::now() + limit <= firstEnd) {
    }
    const CCallWatch::CCall second(watch, "Vessel");
    EXPECT_EQ(1u, watch.report(firstEnd).size());
    EXPECT_EQ(1u, watch.report(afterwards()).size());
}

TEST(CallWatchTest, GivenUpIsForGood)
{
    CCallWatch watch(limit);
    EXPECT_FALSE(watch.isGivenUp());
    {
        const CCallWatch::CCall call(watch, "Vessel");
        watch.giveUp();
    }
    EXPECT_TRUE(watch.isGivenUp());
}

} // namespace Rvl::Test
