#include "host/session/InputSupervision.h"

#include "host/base/HostException.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "runtime/SystemTimeline.h"
#include "runtime/Timelines.h"
#include "tests/support/FakeDeviceChannels.h"

#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Rvl::Test {

namespace {

using std::chrono::milliseconds;
const double infinity = std::numeric_limits<double>::infinity();

/// A timeline whose two clocks the test moves.
class TestTimeline : public CSystemTimeline
{
public:
    TestTimeline() { setCurrentTimeline(this); }
    ~TestTimeline() override { setCurrentTimeline(nullptr); }
    std::chrono::nanoseconds monotonic() const override { return now; }
    std::chrono::system_clock::time_point utc() const override { return calendar; }

    std::chrono::nanoseconds now{1'000'000'000};
    std::chrono::system_clock::time_point calendar;
};

/// What a supervision is given, and what it says.
struct SFakeLoops
{
    const IInputCheck* check = nullptr;
    SBadInputReaction reaction;
    std::vector<IIoChannelInterface*> channels;
    std::vector<ILoopSupervision::eState> states;
    bool refuses = false;
};

class FakeSupervision : public ILoopSupervision
{
public:
    explicit FakeSupervision(const SFakeLoops& loops) : loops_(loops) {}
    eState state(std::size_t loop) const override { return loops_.states.at(loop); }

private:
    const SFakeLoops& loops_;
};

class FakeGraph : public ILoopGraph, public SFakeLoops
{
public:
    std::size_t loopCount() const override { return channels.size(); }
    SLoopStatus status(std::size_t) const override { return {}; }
    IIoChannelInterface* inputChannel(std::size_t loop) const override { return channels.at(loop); }
    SLoopParameters parameters(std::size_t) const override { return {}; }
    void setParameters(std::size_t, const std::vector<SLoopParameters::SValue>&) override {}
    SLoopMemory save(std::size_t) const override { return {}; }
    void restore(std::size_t, const SLoopMemory&) override {}
    void handOver(bool) override {}
    std::unique_ptr<ILoopSupervision> supervise(const IInputCheck& inputCheck,
                                                const SBadInputReaction& badInput) override
    {
        check = &inputCheck;
        reaction = badInput;
        return refuses ? nullptr : std::make_unique<FakeSupervision>(*this);
    }
    void beginStop() override {}
};

class InputSupervisionTest : public testing::Test
{
protected:
    InputSupervisionTest()
    {
        graph.channels = {&outer, &inner};
        graph.states = {ILoopSupervision::Calculating, ILoopSupervision::Calculating};
        policy.maximumAge = milliseconds(500);
    }
    void begin() { supervision = CInputSupervision::begin(graph, policy); }
    bool isGood(std::size_t loop) { return graph.check->isGoodInput(loop); }
    void publishBoth(double value)
    {
        outer.publishValue(value);
        inner.publishValue(value);
    }

    TestTimeline clock;
    CAnalogInChannel outer{"Outer"};
    CAnalogInChannel inner{"Inner"};
    SBadInputPolicy policy;
    FakeGraph graph;
    std::unique_ptr<CInputSupervision> supervision;
};

std::string policyFault(const std::vector<std::pair<std::string, std::string>>& attributes)
{
    boost::property_tree::ptree tree;
    for (const auto& [name, value] : attributes) {
        tree.put("<xmlattr>." + name, value);
    }
    try {
        SBadInputPolicy::from(tree);
        return "none";
    } catch (const CHostException& exception) {
        return exception.what();
    }
}

} // namespace

TEST_F(InputSupervisionTest, ChannelThatNeverAnnouncedAValueIsBad)
{
    begin();
    EXPECT_FALSE(isGood(0));
    outer.publishValue(1.0);
    EXPECT_TRUE(isGood(0));
    EXPECT_FALSE(isGood(1));
}

TEST_F(InputSupervisionTest, ValueIsBadOnceItIsOlderThanTheGreatestAge)
{
    begin();
    publishBoth(1.0);
    clock.now += milliseconds(500);
    EXPECT_TRUE(isGood(0));
    clock.now += milliseconds(1);
    EXPECT_FALSE(isGood(0));
    outer.publishValue(1.0);
    EXPECT_TRUE(isGood(0)) << "the same value, but a new one";
}

TEST_F(InputSupervisionTest, StepOfTheCalendarMakesNoValueOldOrYoung)
{
    begin();
    publishBoth(1.0);
    clock.calendar += std::chrono::hours(1);
    EXPECT_TRUE(isGood(0));
    clock.now += milliseconds(501);
    clock.calendar -= std::chrono::hours(2);
    EXPECT_FALSE(isGood(0));
}

TEST_F(InputSupervisionTest, NotANumberAndInfinityAreBadUnlessAllowed)
{
    begin();
    for (const double bad : {std::nan(""), infinity, -infinity}) {
        publishBoth(bad);
        EXPECT_FALSE(isGood(0)) << bad;
        EXPECT_FALSE(graph.check->isGoodValue(bad)) << bad;
    }
    EXPECT_TRUE(graph.check->isGoodValue(1e308));
    policy.refuseNotFinite = false;
    begin();
    publishBoth(std::nan(""));
    EXPECT_TRUE(isGood(0));
    EXPECT_TRUE(graph.check->isGoodValue(infinity));
}

TEST_F(InputSupervisionTest, ValueIsReadWhenItIsAnnouncedAndNotForEachLook)
{
    CountingAnalogIn counting("Counting");
    graph.channels = {&counting};
    graph.states = {ILoopSupervision::Calculating};
    begin();
    counting.publishValue(std::nan(""));
    const int readings = counting.reads;
    EXPECT_FALSE(isGood(0));
    EXPECT_FALSE(isGood(0));
    ASSERT_TRUE(supervision->health());
    EXPECT_EQ("bad input: Counting: not a finite number; held", supervision->health()->text);
    EXPECT_EQ(readings, counting.reads);
    counting.publishValue(1.0);
    EXPECT_TRUE(isGood(0));
    EXPECT_EQ(readings + 1, counting.reads);
    supervision.reset(); // before its channel
}

TEST_F(InputSupervisionTest, FaultyChannelIsBadUntilItAnnouncesANewValue)
{
    begin();
    publishBoth(1.0);
    inner.setFault("broken wire");
    EXPECT_FALSE(isGood(1));
    EXPECT_EQ("bad input: Inner: broken wire; held", supervision->health()->text);
    inner.setFault("");
    EXPECT_FALSE(isGood(1)) << "the value is that from before";
    EXPECT_EQ("bad input: Inner: no value since its fault; held", supervision->health()->text);
    EXPECT_TRUE(isGood(0));
    inner.publishValue(1.0);
    EXPECT_TRUE(isGood(1)) << "the same value, but a new one";
}

TEST_F(InputSupervisionTest, FaultBetweenTwoStepsMakesTheValueFromBeforeBad)
{
    begin();
    publishBoth(1.0);
    EXPECT_TRUE(isGood(1));
    inner.setFault("broken wire"); // between two steps
    inner.setFault("");
    EXPECT_FALSE(isGood(1));
    EXPECT_EQ("bad input: Inner: no value since its fault; held", supervision->health()->text);
    inner.publishValue(1.0);
    EXPECT_TRUE(isGood(1));
}

TEST_F(InputSupervisionTest, WithoutAGreatestAgeNoValueIsTooOld)
{
    policy.maximumAge.reset();
    begin();
    publishBoth(1.0);
    clock.now += std::chrono::hours(1000);
    EXPECT_TRUE(isGood(0));
}

TEST_F(InputSupervisionTest, LoopThatReadsNoChannelIsGood)
{
    graph.channels = {nullptr, &inner};
    begin();
    EXPECT_TRUE(isGood(0));
    EXPECT_FALSE(isGood(1));
}

TEST_F(InputSupervisionTest, ReactionIsHandedToTheLoops)
{
    policy.reaction = {SBadInputReaction::Write, 12.0};
    begin();
    EXPECT_EQ(SBadInputReaction::Write, graph.reaction.action);
    EXPECT_EQ(12.0, graph.reaction.value);
}

TEST_F(InputSupervisionTest, StateNamesTheOutermostBadChannelAndWhatIsDone)
{
    policy.reaction = {SBadInputReaction::Write, 12.5};
    begin();
    graph.states = {ILoopSupervision::Waiting, ILoopSupervision::Waiting};
    EXPECT_EQ("bad input: Outer: no value yet; waiting for it", supervision->health()->text);
    EXPECT_EQ(EHealth::Waiting, supervision->health()->kind);
    publishBoth(1.0);
    EXPECT_FALSE(supervision->health());
    graph.states = {ILoopSupervision::Acting, ILoopSupervision::Acting};
    EXPECT_EQ("bad input: over; 12.5 written until the next step", supervision->health()->text);
    inner.publishValue(infinity);
    EXPECT_EQ("bad input: Inner: not a finite number; 12.5 written", supervision->health()->text);
    EXPECT_EQ(EHealth::BadInput, supervision->health()->kind);
    inner.publishValue(1.0);
    clock.now += milliseconds(501);
    inner.publishValue(1.0);
    EXPECT_EQ("bad input: Outer: no new value for more than 500 ms; 12.5 written",
              supervision->health()->text);
    graph.states = {ILoopSupervision::Idle, ILoopSupervision::Calculating};
    EXPECT_EQ("bad input: Outer: no new value for more than 500 ms; manual mode goes on",
              supervision->health()->text);
}

TEST_F(InputSupervisionTest, DisablesOnlyWithThatActionAndWhileItActs)
{
    begin();
    graph.states = {ILoopSupervision::Calculating, ILoopSupervision::Acting};
    EXPECT_FALSE(supervision->disables());
    policy.reaction.action = SBadInputReaction::Disable;
    begin();
    EXPECT_TRUE(supervision->disables());
    graph.states = {ILoopSupervision::Waiting, ILoopSupervision::Idle};
    EXPECT_FALSE(supervision->disables());
}

TEST_F(InputSupervisionTest, LoopsThatCannotBeSupervisedHaveNoSupervision)
{
    graph.refuses = true;
    EXPECT_FALSE(CInputSupervision::begin(graph, policy));
}

TEST_F(InputSupervisionTest, EndedSupervisionListensNoLonger)
{
    begin();
    supervision.reset();
    publishBoth(1.0); // a listener left behind would be called here
}

TEST(BadInputPolicyTest, WithoutAnActionTheLoopsAreDisabled)
{
    boost::property_tree::ptree tree;
    EXPECT_EQ(SBadInputReaction::Disable, SBadInputPolicy::from(tree).reaction.action);
    EXPECT_FALSE(SBadInputPolicy::from(tree).allowsEverything());
    tree.put("<xmlattr>.NaN", "allowed");
    EXPECT_TRUE(SBadInputPolicy::from(tree).allowsEverything());
}

TEST_F(InputSupervisionTest, ByDefaultOnlyAValueThatIsNotFiniteIsBad)
{
    publishBoth(1.0); // and nothing since the beginning
    policy = SBadInputPolicy::byDefault();
    begin();
    EXPECT_EQ(SBadInputReaction::Disable, graph.reaction.action);
    clock.now += std::chrono::hours(1);
    EXPECT_TRUE(isGood(0));
    EXPECT_EQ(std::nullopt, supervision->health());
    for (const double bad : {std::nan(""), infinity, -infinity}) {
        outer.publishValue(bad);
        EXPECT_FALSE(isGood(0));
        EXPECT_TRUE(isGood(1));
        EXPECT_FALSE(graph.check->isGoodValue(bad));
        outer.publishValue(1.0);
        EXPECT_TRUE(isGood(0));
    }
}

TEST_F(InputSupervisionTest, LoopThatCalculatedNoNumberIsDisabledAndHasFailed)
{
    begin();
    EXPECT_FALSE(supervision->hasFailed());
    graph.states[1] = ILoopSupervision::Failed;
    EXPECT_TRUE(supervision->hasFailed());
    EXPECT_TRUE(supervision->disables());
}

TEST(BadInputPolicyTest, AttributesThatDoNotGoTogetherAreRefused)
{
    EXPECT_EQ("none", policyFault({{"Action", "hold"}}));
    EXPECT_EQ("none", policyFault({{"NaN", "allowed"}}));
    EXPECT_EQ("none", policyFault({{"Action", "write"}, {"Value", "1.5"}}));
    EXPECT_EQ("none", policyFault({{"Action", "hold"}, {"NaN", "allowed"}, {"MaximumAge_ms", "10"}}));
    EXPECT_EQ("nothing counts as bad; expected MaximumAge_ms, or NaN to be refused, or no Action",
              policyFault({{"Action", "hold"}, {"NaN", "allowed"}}));
    EXPECT_EQ("Value is missing; expected the control value that the action write writes",
              policyFault({{"Action", "write"}}));
    EXPECT_EQ("Value is not read unless Action is write; expected it to be, or no Value",
              policyFault({{"Action", "disable"}, {"Value", "1"}}));
    EXPECT_EQ("Value is \"inf\"; expected a finite number",
              policyFault({{"Action", "write"}, {"Value", "inf"}}));
}

} // namespace Rvl::Test
