#include "driver/local/LocalControllerChannel.h"

#include "driver/local/controller/common/ControlLoopFactory.h"
#include "driver/local/controller/common/LoopInOutFactory.h"
#include "driver/local/controller/controlloopinput/LoopInFactory.h"
#include "driver/local/controller/controlloopoutput/LoopOutFactory.h"
#include "driver/local/LoopTimeline.h"
#include "platform/rivlink_core/Environment.h"
#include "platform/rivlink_device/LinearScaling.h"
#include "runtime/SystemTimeline.h"
#include "tests/support/LogCapture.h"
#include "tests/support/VirtualSlot.h"
#include "tests/unit/driver/local/controller/ElementTesting.h"
#include "tests/unit/driver/local/FakeLoop.h"

#include <gmock/gmock.h>

#include <boost/signals2/connection.hpp>

#include <algorithm>
#include <atomic>
#include <future>
#include <optional>
#include <thread>

using namespace Rvl::Test;
using Rvl::CLocalControllerChannel;
using Rvl::IControllerChannel;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

Rvl::CEnvironment::Signal& aboutToDisconnect()
{
    return Rvl::CEnvironment::getInstance()->aboutToDisconnect();
}

/// Holds the first step of a loop in which it receives the actual value.
class HeldStep : public Rvl::IControlLoopValueListener
{
public:
    void onActualValue(double) override
    {
        if (!isEntered_) {
            isEntered_ = true;
            entered_.set_value();
        }
        released_.wait();
    }
    void waitUntilEntered() { entered_.get_future().wait(); }
    void release()
    {
        isReleased_ = true;
        release_.set_value();
    }
    bool isReleased() const { return isReleased_; }

private:
    bool isEntered_ = false; ///< of the loop's thread
    std::promise<void> entered_;
    std::promise<void> release_;
    std::shared_future<void> released_ = release_.get_future().share();
    std::atomic<bool> isReleased_{false};
};

} // namespace

class LocalControllerChannel : public testing::Test
{
protected:
    LocalControllerChannel()
    {
        loop->setInput(input);
        loop->setOutput(output);
        loop->addActualValueListener(&counter);
    }

    Journal journal;
    StepCounter counter;
    std::shared_ptr<FakeLoopIn> input = std::make_shared<FakeLoopIn>("input", journal);
    std::shared_ptr<FakeLoopOut> output = std::make_shared<FakeLoopOut>("output", journal);
    std::shared_ptr<FakeLoop> loop = std::make_shared<FakeLoop>("loop", journal);
};

TEST_F(LocalControllerChannel, ConstructionStartsNothing)
{
    loop->setEnabled(true);
    journal.clear();
    CLocalControllerChannel channel("Controller", loop);
    EXPECT_FALSE(channel.isControlLoopEnabled()) << "whatever the loop's own switch says";
    EXPECT_EQ(0u, channel.runs());
    EXPECT_THAT(journal.entries(), IsEmpty());
    EXPECT_EQ(loop, channel.controlLoop());
}

TEST_F(LocalControllerChannel, IsRegisteredUnderItsNameForItsLife)
{
    {
        CLocalControllerChannel channel("Controller", loop);
        EXPECT_EQ(&channel, CLocalControllerChannel::NameServer.lookupObject("Controller"));
        EXPECT_EQ(&channel, IControllerChannel::NameServer.lookupObject("Controller"));
    }
    EXPECT_THAT(CLocalControllerChannel::NameServer.names(), IsEmpty());
    EXPECT_THAT(IControllerChannel::NameServer.names(), IsEmpty());
}

TEST_F(LocalControllerChannel, SecondChannelOfANameFailsAndTheFirstStays)
{
    CLocalControllerChannel first("Controller", loop);
    const auto slots = aboutToDisconnect().num_slots();
    EXPECT_EQ("CConfigurationException: Object Controller is already registered on this name server",
              faultOf([&] { CLocalControllerChannel("Controller", loop); }));
    EXPECT_EQ(&first, CLocalControllerChannel::NameServer.lookupObject("Controller"));
    EXPECT_EQ(&first, IControllerChannel::NameServer.lookupObject("Controller"));
    EXPECT_EQ(slots, aboutToDisconnect().num_slots());
}

TEST_F(LocalControllerChannel, NameTakenOnItsOwnNameServerFailsToo)
{
    CLocalControllerChannel other("Other", loop);
    CLocalControllerChannel::NameServer.unregisterObject(&other);
    CLocalControllerChannel::NameServer.registerObject(&other, "Controller");
    EXPECT_EQ("CConfigurationException: Object Controller is already registered on this name server",
              faultOf([&] { CLocalControllerChannel("Controller", loop); }));
    EXPECT_THAT(IControllerChannel::NameServer.names(), ElementsAre("Other"));
}

TEST_F(LocalControllerChannel, StartInitialisesInputOutputAndLoopInThisOrder)
{
    CLocalControllerChannel channel("Controller", loop);
    channel.start();
    const auto entries = journal.entries();
    ASSERT_LE(4u, entries.size());
    EXPECT_THAT(std::vector<std::string>(entries.begin(), entries.begin() + 4),
                ElementsAre("input init", "output init", "loop init", "loop sample time"));
    EXPECT_TRUE(counter.waitForMore(2));
}

TEST_F(LocalControllerChannel, StartLeavesTheElementsOfCascadedLoopsAlone)
{
    const auto inner = std::make_shared<FakeLoop>("inner", journal);
    loop->setOutput(inner);
    inner->setInput(std::make_shared<FakeLoopIn>("inner input", journal));
    inner->setOutput(output);
    CLocalControllerChannel channel("Controller", loop);
    channel.start();
    std::vector<std::string> initialised;
    for (const auto& entry : journal.entries()) {
        if (entry.find(" init") != std::string::npos) {
            initialised.push_back(entry);
        }
    }
    EXPECT_THAT(initialised, ElementsAre("input init", "inner init", "loop init"));
}

TEST_F(LocalControllerChannel, ChannelOfACascadeAddsNoChecksOfItsInnerLoops)
{
    const auto inner = std::make_shared<FakeLoop>("inner", journal);
    loop->setOutput(inner);
    CLocalControllerChannel channel("Controller", loop);
    LogCapture log("ExceptionLogger");
    channel.setEnabled(true);
    EXPECT_TRUE(channel.isControlLoopEnabled());
    EXPECT_EQ(1u, channel.runs());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(LocalControllerChannel, CascadeRunsOutermostFirstUpToTheFirstOutputThatIsNoLoop)
{
    const auto middle = std::make_shared<FakeLoop>("middle", journal);
    const auto inner = std::make_shared<FakeLoop>("inner", journal);
    loop->setOutput(middle);
    middle->setInput(input);
    middle->setOutput(inner);
    inner->setInput(input);
    inner->setOutput(output);
    for (const auto& each : {loop, middle, inner}) {
        each->setEnabled(true);
    }
    journal.clear();
    CLocalControllerChannel channel("Controller", loop);
    channel.start();
    std::vector<std::string> sampleTimeReads;
    for (const auto& entry : journal.entries()) {
        if (entry.find("sample time") != std::string::npos) {
            sampleTimeReads.push_back(entry);
        }
    }
    EXPECT_THAT(sampleTimeReads, ElementsAre("loop sample time", "middle sample time", "inner sample time"));
    for (const char* step : {"loop step", "middle step", "inner step"}) {
        EXPECT_TRUE(journal.waitFor([&](const auto& entries) {
            return std::count(entries.begin(), entries.end(), step) >= 3;
        })) << step;
    }
}

TEST_F(LocalControllerChannel, InputsAreNeverFollowed)
{
    class LoopAsInput : public FakeLoop, public Rvl::ILoopInInterface
    {
    public:
        using FakeLoop::FakeLoop;
        double readInputValue() override { return 0.0; }
    };
    loop->setInput(std::make_shared<LoopAsInput>("input loop", journal));
    CLocalControllerChannel channel("Controller", loop);
    channel.start();
    EXPECT_TRUE(counter.waitForMore(2));
    channel.stop();
    EXPECT_THAT(journal.entries(), testing::Not(Contains("input loop sample time")));
    EXPECT_THAT(journal.entries(), testing::Not(Contains("input loop step")));
}

TEST_F(LocalControllerChannel, EnablingStartsTheProcessorOnce)
{
    CLocalControllerChannel channel("Controller", loop);
    channel.setEnabled(true);
    EXPECT_TRUE(channel.isControlLoopEnabled());
    EXPECT_EQ(1u, channel.runs());
    loop->setEnabled(false);
    channel.setEnabled(true);
    EXPECT_TRUE(loop->isEnabled()) << "the loop is enabled again";
    EXPECT_EQ(1u, channel.runs());
    const auto entries = journal.entries();
    EXPECT_EQ(1, std::count(entries.begin(), entries.end(), "input init"));
    EXPECT_TRUE(journal.waitFor(
        [](const auto& all) { return std::count(all.begin(), all.end(), "loop step") >= 2; }));
}

TEST_F(LocalControllerChannel, DisablingLeavesTheProcessorRunning)
{
    loop->parameters = Rvl::CControlParameters("P", {1.0});
    CLocalControllerChannel channel("Controller", loop);
    channel.setEnabled(true);
    channel.setEnabled(false);
    EXPECT_FALSE(channel.isControlLoopEnabled());
    EXPECT_TRUE(counter.waitForMore(2)) << "the loop is still calculated";
    loop->setEnabled(true);
    EXPECT_TRUE(channel.isControlLoopEnabled()) << "the processor is active";
}

TEST_F(LocalControllerChannel, DisablingBeforeAnyStartStartsNothing)
{
    CLocalControllerChannel channel("Controller", loop);
    channel.setEnabled(false);
    EXPECT_THAT(journal.entries(), IsEmpty());
    EXPECT_EQ(0u, channel.runs());
}

TEST_F(LocalControllerChannel, StoppedChannelCanBeStartedAgain)
{
    CLocalControllerChannel channel("Controller", loop);
    channel.setEnabled(true);
    ASSERT_TRUE(counter.waitForMore(1));
    channel.stop();
    EXPECT_FALSE(channel.isControlLoopEnabled());
    EXPECT_TRUE(loop->isEnabled()) << "stopping does not touch the loop's switch";
    channel.stop();
    channel.start();
    EXPECT_TRUE(channel.isControlLoopEnabled());
    EXPECT_TRUE(counter.waitForMore(2));
    EXPECT_EQ(2u, channel.runs());
    channel.start();
    EXPECT_EQ(2u, channel.runs()) << "it was running";
}

TEST_F(LocalControllerChannel, DestructionStopsTheProcessorAndReleasesTheLoop)
{
    std::optional<CLocalControllerChannel> channel(std::in_place, "Controller", loop);
    channel->setEnabled(true);
    ASSERT_TRUE(counter.waitForMore(1));
    EXPECT_LT(1, loop.use_count());
    channel.reset();
    const int steps = counter.steps();
    EXPECT_EQ(1, loop.use_count());
    loop->process();
    EXPECT_EQ(steps + 1, counter.steps()) << "nothing else calculated it meanwhile";
}

TEST_F(LocalControllerChannel, AboutToDisconnectStopsEveryLiveChannel)
{
    const auto otherLoop = std::make_shared<FakeLoop>("other", journal);
    otherLoop->setInput(input);
    otherLoop->setOutput(std::make_shared<FakeLoopOut>("other output", journal));
    CLocalControllerChannel first("First", loop);
    CLocalControllerChannel second("Second", otherLoop);
    first.setEnabled(true);
    second.setEnabled(true);
    aboutToDisconnect()();
    EXPECT_FALSE(first.isControlLoopEnabled());
    EXPECT_FALSE(second.isControlLoopEnabled());
    first.setEnabled(true);
    EXPECT_TRUE(first.isControlLoopEnabled());
    aboutToDisconnect()();
    EXPECT_FALSE(first.isControlLoopEnabled());
}

TEST_F(LocalControllerChannel, AboutToDisconnectStopsNoChannelThatItDoesNotReach)
{
    const auto otherLoop = std::make_shared<FakeLoop>("other", journal);
    otherLoop->setInput(input);
    otherLoop->setOutput(output);
    CLocalControllerChannel first("First", otherLoop);
    first.setEnabled(true);
    struct SEndOfTheEmission
    {};
    const boost::signals2::scoped_connection between =
        aboutToDisconnect().connect([] { throw SEndOfTheEmission(); });
    CLocalControllerChannel channel("Controller", loop);
    channel.setEnabled(true);
    EXPECT_THROW(aboutToDisconnect()(), SEndOfTheEmission);
    EXPECT_FALSE(first.isControlLoopEnabled());
    EXPECT_TRUE(channel.isControlLoopEnabled());
    EXPECT_TRUE(counter.waitForMore(2)) << "it is still calculated";
}

TEST_F(LocalControllerChannel, ChannelThatIsEnabledDuringAboutToDisconnectIsCalculated)
{
    const auto otherLoop = std::make_shared<FakeLoop>("other", journal);
    otherLoop->setInput(input);
    otherLoop->setOutput(output);
    CLocalControllerChannel channel("Controller", loop);
    // called after the slot of this channel and before that of the next one
    const boost::signals2::scoped_connection between =
        aboutToDisconnect().connect([&] { channel.setEnabled(true); });
    CLocalControllerChannel other("Other", otherLoop);
    other.setEnabled(true);
    aboutToDisconnect()();
    EXPECT_FALSE(other.isControlLoopEnabled());
    EXPECT_TRUE(channel.isControlLoopEnabled());
    EXPECT_TRUE(counter.waitForMore(2));
}

TEST_F(LocalControllerChannel, OnATimelineAboutToDisconnectWaitsForNoSampleTime)
{
    Rvl::CSystemTimeline timeline;
    Rvl::setLoopTimeline(&timeline);
    loop->sampleTime = 600'000;
    const auto otherLoop = std::make_shared<FakeLoop>("other", journal);
    otherLoop->sampleTime = 600'000;
    otherLoop->setInput(input);
    otherLoop->setOutput(output);
    {
        CLocalControllerChannel first("First", loop);
        CLocalControllerChannel second("Second", otherLoop);
        first.setEnabled(true);
        second.setEnabled(true);
        const auto begin = std::chrono::steady_clock::now();
        aboutToDisconnect()();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
        EXPECT_FALSE(first.isControlLoopEnabled());
        EXPECT_FALSE(second.isControlLoopEnabled());
    }
    Rvl::setLoopTimeline(nullptr);
}

TEST_F(LocalControllerChannel, DestroyedChannelIsNoLongerCalled)
{
    const auto slots = aboutToDisconnect().num_slots();
    {
        CLocalControllerChannel channel("Controller", loop);
        EXPECT_EQ(slots + 1, aboutToDisconnect().num_slots());
    }
    EXPECT_EQ(slots, aboutToDisconnect().num_slots());
    aboutToDisconnect()();
}

TEST_F(LocalControllerChannel, DestructionMeetsTheSignalOfAnotherThread)
{
    loop->sampleTime = 1;
    std::atomic<bool> over{false};
    std::thread host([&] {
        while (!over) {
            aboutToDisconnect()();
        }
    });
    for (int i = 0; i < 100; ++i) {
        CLocalControllerChannel channel("Controller", loop);
        channel.controlLoop()->setEnabled(i % 2 == 0);
    }
    over = true;
    host.join();
    EXPECT_EQ(1, loop.use_count());
}

TEST_F(LocalControllerChannel, DestructionWaitsForASignalThatIsStoppingTheChannel)
{
    loop->sampleTime = 1;
    const auto slots = aboutToDisconnect().num_slots();
    for (int i = 0; i < 20; ++i) {
        HeldStep step;
        std::promise<void> emitted;
        const boost::signals2::scoped_connection earlier =
            aboutToDisconnect().connect([&] { emitted.set_value(); });
        std::optional<CLocalControllerChannel> channel(std::in_place, "Controller", loop);
        channel->setEnabled(true);
        // not earlier: a held step has the loop's lock, which enabling the loop takes after the processor's
        // start
        loop->addActualValueListener(&step);
        step.waitUntilEntered();
        // from here on the processor cannot stop, and the signal's call of the channel not end
        std::thread host([] { aboutToDisconnect()(); });
        emitted.get_future().wait();
        std::thread releaser([&] {
            while (aboutToDisconnect().num_slots() != slots + 1) { // the destructor has begun
                // not without a pause: asking takes the lock that the destructor needs
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            step.release();
        });
        channel.reset(); // what the call still uses must outlive it: the sanitizers see if it does not
        EXPECT_TRUE(step.isReleased()) << "the processor's thread was waited for";
        releaser.join();
        host.join();
        loop->removeActualValueListener(&step);
        EXPECT_EQ(1, loop.use_count());
        loop->setEnabled(false);
    }
}

TEST_F(LocalControllerChannel, ValuesAreScaledUnlessTheNameSaysOtherwise)
{
    CLocalControllerChannel channel("Controller", loop);
    channel.setScaling(new Rvl::CLinearScaling(2.0, 1.0, "degC"));
    channel.writeSetPointUnscaled(10.0);
    EXPECT_EQ(10.0, loop->readSetpoint());
    EXPECT_EQ(21.0, channel.getSetPoint());
    channel.writeSetPoint(41.0);
    EXPECT_EQ(20.0, loop->readSetpoint());
    input->value = 3.0;
    EXPECT_EQ(3.0, channel.readActualValueUnscaled());
    EXPECT_EQ(7.0, channel.readActualValue());
    loop->setControlValue(4.0);
    EXPECT_EQ(4.0, channel.readControlValueUnscaled());
    EXPECT_EQ(9.0, channel.readControlValue());
}

TEST_F(LocalControllerChannel, ManualControlValueIsUnscaledOnItsWayToTheLoop)
{
    CLocalControllerChannel channel("Controller", loop);
    channel.setScaling(new Rvl::CLinearScaling(2.0, 1.0, "degC"));
    channel.controlLoop()->setEnabled(true);
    channel.setManualMode(true);
    channel.writeManualControlValue(9.0);
    EXPECT_EQ(4.0, loop->readControlValue());
    channel.writeManualControlValueUnscaled(5.0);
    EXPECT_EQ(5.0, loop->readControlValue());
    channel.setManualMode(false);
    channel.writeManualControlValueUnscaled(6.0);
    EXPECT_EQ(5.0, loop->readControlValue()) << "automatic again";
    EXPECT_THAT(journal.entries(), ElementsAre("output 0", "output 4", "output 5"));
}

TEST_F(LocalControllerChannel, ScaledOperationsCallTheUnscaledOnesVirtually)
{
    class Derived : public CLocalControllerChannel
    {
    public:
        using CLocalControllerChannel::CLocalControllerChannel;
        double readControlValueUnscaled() override { return 100.0; }
        void writeManualControlValueUnscaled(double value) override { written = value; }
        double written = 0.0;
    };
    Derived channel("Controller", loop);
    channel.setScaling(new Rvl::CLinearScaling(2.0, 0.0, ""));
    EXPECT_EQ(200.0, channel.readControlValue());
    channel.writeManualControlValue(8.0);
    EXPECT_EQ(4.0, channel.written);
}

TEST_F(LocalControllerChannel, ParametersAreThoseOfTheOutermostLoop)
{
    const auto inner = std::make_shared<FakeLoop>("inner", journal);
    loop->setOutput(inner);
    CLocalControllerChannel channel("Controller", loop);
    channel.setParameters(Rvl::CControlParameters("P", {1.0, 2.0}));
    EXPECT_EQ("P", loop->parameters.name());
    EXPECT_EQ(&loop->parameters, &channel.parameters());
    EXPECT_EQ("", inner->parameters.name());
}

TEST_F(LocalControllerChannel, OperationsStandInTheirSlots)
{
    const std::vector<std::size_t> slots = {
        virtualSlot(&CLocalControllerChannel::getName), // after the destructor's two
        virtualSlot(&CLocalControllerChannel::connectToDevice),
        virtualSlot(&CLocalControllerChannel::setProperties),
        virtualSlot(&CLocalControllerChannel::writeSetPoint),
        virtualSlot(&CLocalControllerChannel::readActualValue),
        virtualSlot(&CLocalControllerChannel::writeSetPointUnscaled),
        virtualSlot(&CLocalControllerChannel::getSetPoint),
        virtualSlot(&CLocalControllerChannel::readControlValue),
        virtualSlot(&CLocalControllerChannel::writeManualControlValue),
        virtualSlot(&CLocalControllerChannel::readActualValueUnscaled),
        virtualSlot(&CLocalControllerChannel::setEnabled),
        virtualSlot(&CLocalControllerChannel::setManualMode),
        virtualSlot(&CLocalControllerChannel::isControlLoopEnabled),
        virtualSlot(&CLocalControllerChannel::writeManualControlValueUnscaled),
        virtualSlot(&CLocalControllerChannel::readControlValueUnscaled),
    };
    EXPECT_THAT(slots, ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16));
}

TEST_F(LocalControllerChannel, BasesStandInOrder)
{
    using Registrator =
        Rvl::CNameServerRegistrator<CLocalControllerChannel*, Rvl::CNameServer<CLocalControllerChannel*>>;
    CLocalControllerChannel channel("Controller", loop);
    const auto offset = [&channel](const void* base) {
        return static_cast<const char*>(base) - reinterpret_cast<const char*>(&channel);
    };
    EXPECT_EQ(0, offset(static_cast<IControllerChannel*>(&channel)));
    const auto registratorOffset = offset((Registrator*)&channel); // a private base: no other cast may
    EXPECT_EQ(static_cast<std::ptrdiff_t>(sizeof(IControllerChannel)), registratorOffset);
}

TEST(LocalControllerChannelRegistries, FillThemselvesWhileEmpty)
{
    LogCapture log("EnvLogger");
    const auto linesOf = [&log](const auto& use) {
        log.clear();
        use();
        return log.lines();
    };
    using Channel = CLocalControllerChannel;
    Channel::controlLoopFactories().clear();
    Channel::loopInFactories().clear();
    Channel::loopInOutFactories().clear();
    Channel::loopOutFactories().clear();
    EXPECT_THAT(linesOf([] { Channel::controlLoopFactories(); }),
                ElementsAre("INFO Factory Rvl::CPIDControlLoop registered in registry",
                            "INFO Factory Rvl::CTwoLevelControlLoop registered in registry",
                            "INFO Factory Rvl::CConditionalControlLoop registered in registry"));
    EXPECT_THAT(linesOf([] { Channel::loopInFactories(); }),
                ElementsAre("INFO Factory Rvl::CAnalogChannelLoopIn registered in registry"));
    EXPECT_THAT(linesOf([] { Channel::loopInOutFactories(); }),
                ElementsAre("INFO Factory Rvl::CPT1Element registered in registry"));
    EXPECT_THAT(linesOf([] { Channel::loopOutFactories(); }),
                ElementsAre("INFO Factory Rvl::CAnalogChannelLoopOut registered in registry",
                            "INFO Factory Rvl::CPWMLoopOut registered in registry",
                            "INFO Factory Rvl::CDigitalChannelLoopOut registered in registry",
                            "INFO Factory Rvl::CAnalogTwoQuadrantLoopOut registered in registry",
                            "INFO Factory Rvl::CPWMTwoQuadrantLoopOut registered in registry",
                            "INFO Factory Rvl::CPumpLoopOut registered in registry"));
    EXPECT_THAT(linesOf([] {
                    Channel::controlLoopFactories();
                    Channel::loopInFactories();
                    Channel::loopInOutFactories();
                    Channel::loopOutFactories();
                }),
                IsEmpty())
        << "once filled, they stay as they are";
    EXPECT_EQ(&Channel::loopOutFactories(), &Channel::loopOutFactories());
}

TEST(LocalControllerChannelRegistries, WhatIsFiledIsKept)
{
    class Replacement : public Rvl::ILoopInFactory
    {
    public:
        std::string getTypeName() override { return "Rvl::CAnalogChannelLoopIn"; }

    protected:
        Rvl::ILoopIn* createObjectImpl(const boost::property_tree::ptree&) override { return nullptr; }
    };
    auto& registry = CLocalControllerChannel::loopInFactories();
    EXPECT_FALSE(registry.put(std::make_shared<Replacement>())) << "the first of a type name stays";
    registry.clear();
    const auto replacement = std::make_shared<Replacement>();
    EXPECT_TRUE(registry.put(replacement));
    EXPECT_EQ(replacement, CLocalControllerChannel::loopInFactories().get("Rvl::CAnalogChannelLoopIn"));
    registry.clear();
}
