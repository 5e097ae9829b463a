#include "driver/local/LocalControllerChannelFactory.h"

#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/common/ControlLoopFactory.h"
#include "driver/local/controller/controlloop/PIDControlLoop.h"
#include "driver/local/controller/controlloop/PT1Element.h"
#include "driver/local/controller/controlloopinput/AnalogChannelLoopIn.h"
#include "driver/local/controller/controlloopinput/LoopInFactory.h"
#include "driver/local/controller/controlloopoutput/AnalogChannelLoopOut.h"
#include "driver/local/controller/controlloopoutput/LoopOutFactory.h"
#include "driver/local/controller/controlloopoutput/PWMLoopOut.h"
#include "driver/local/LocalControllerChannel.h"
#include "driver/local/VelonixControlChannelFactory.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "tests/support/FakeDeviceChannels.h"
#include "tests/support/VirtualSlot.h"
#include "tests/unit/driver/local/controller/ElementTesting.h"

#include <gmock/gmock.h>

#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

using namespace Rvl::Test;
using boost::property_tree::ptree;
using Rvl::CLocalControllerChannel;
using Rvl::IControlLoop;
using testing::IsEmpty;

namespace {

ptree analogIn()
{
    return node({{"Type", "Rvl::CAnalogChannelLoopIn"}, {"Channel", "Temperature"}});
}

ptree analogOut()
{
    return node({{"Type", "Rvl::CAnalogChannelLoopOut"}, {"Channel", "Heater"}});
}

ptree lag()
{
    return node({{"Type", "Rvl::CPT1Element"}});
}

ptree pidLoop(const ptree& input, const ptree& output)
{
    ptree tree = node({{"Type", "Rvl::CPIDControlLoop"},
                       {"Enabled", "false"},
                       {"PIDParam.<xmlattr>.Name", "P"},
                       {"PIDParam.<xmlattr>.K", "2"},
                       {"PIDParam.<xmlattr>.Ti", "0"},
                       {"PIDParam.<xmlattr>.Td", "0"},
                       {"PIDParam.<xmlattr>.DerivativeGainLimit", "0"},
                       {"PIDParam.<xmlattr>.MinU", "-100"},
                       {"PIDParam.<xmlattr>.MaxU", "100"},
                       {"PIDParam.<xmlattr>.DisabledU", "0"},
                       {"PIDParam.<xmlattr>.SampleTime_ms", "20"},
                       {"PIDParam.<xmlattr>.Setpoint", "7"}});
    tree.put_child("Input", input);
    tree.put_child("Output", output);
    return tree;
}

ptree channelTree(const ptree& loop)
{
    ptree tree = node({{"<xmlattr>.Name", "Controller"}});
    tree.put_child("ControlLoop", loop);
    return tree;
}

/// A factory of any type name that builds nothing.
template <class Interface, class Product> class Decoy : public Interface
{
public:
    explicit Decoy(std::string typeName) : typeName_(std::move(typeName)) {}
    std::string getTypeName() override { return typeName_; }

protected:
    Product* createObjectImpl(const ptree&) override { return nullptr; }

private:
    std::string typeName_;
};

/// Empties the registries, so that they fill themselves anew.
struct DefaultFactories
{
    ~DefaultFactories()
    {
        CLocalControllerChannel::controlLoopFactories().clear();
        CLocalControllerChannel::loopInFactories().clear();
        CLocalControllerChannel::loopInOutFactories().clear();
        CLocalControllerChannel::loopOutFactories().clear();
    }
};

template <class Factory>
constexpr bool isCopyableAndMovable =
    std::is_copy_constructible_v<Factory>&& std::is_copy_assignable_v<Factory>&&
        std::is_move_constructible_v<Factory>&& std::is_move_assignable_v<Factory>;
static_assert(isCopyableAndMovable<Rvl::CLocalControllerChannelFactory>);
static_assert(isCopyableAndMovable<Rvl::CVelonixControlChannelFactory>);

} // namespace

class LocalControllerChannelFactory : public testing::Test
{
protected:
    std::unique_ptr<CLocalControllerChannel> create(const ptree& tree)
    {
        return std::unique_ptr<CLocalControllerChannel>(
            dynamic_cast<CLocalControllerChannel*>(factory.createObject(tree)));
    }

    Journal journal;
    Rvl::CAnalogInChannel temperature{"Temperature"};
    FakeAnalogOut heater{"Heater", journal};
    FakeDigitalOut fan{"Fan", journal};
    Rvl::CLocalControllerChannelFactory factory;
};

TEST_F(LocalControllerChannelFactory, TypeName)
{
    EXPECT_EQ("Rvl::CLocalControllerChannel", factory.getTypeName());
}

TEST_F(LocalControllerChannelFactory, BuildsAChannelWithItsLoopInputAndOutput)
{
    const auto channel = create(channelTree(pidLoop(analogIn(), analogOut())));
    ASSERT_TRUE(channel);
    EXPECT_EQ("Controller", channel->getName());
    const auto loop = channel->controlLoop();
    EXPECT_EQ("Rvl::CPIDControlLoop", loop->getTypeName());
    EXPECT_EQ(7.0, loop->readSetpoint()) << "the loop read its parameters from the same node";
    EXPECT_TRUE(std::dynamic_pointer_cast<Rvl::CAnalogChannelLoopIn>(loop->inputElement()));
    EXPECT_TRUE(std::dynamic_pointer_cast<Rvl::CAnalogChannelLoopOut>(loop->outputElement()));
    EXPECT_FALSE(channel->isControlLoopEnabled()) << "nothing is started";
    temperature.publishValue(4.0);
    loop->setEnabled(true);
    loop->process();
    EXPECT_THAT(journal.entries(), testing::ElementsAre("Heater 6"));
}

TEST_F(LocalControllerChannelFactory, WithoutARangeTheSetPointIsUnlimited)
{
    const auto channel = create(channelTree(pidLoop(analogIn(), analogOut())));
    EXPECT_EQ(std::numeric_limits<double>::lowest(), channel->setpointMinimum());
    EXPECT_EQ(std::numeric_limits<double>::max(), channel->setpointMaximum());
}

TEST_F(LocalControllerChannelFactory, EitherEndOfTheRangeMayStandAlone)
{
    ptree tree = channelTree(pidLoop(analogIn(), analogOut()));
    tree.put("SetpointRange.<xmlattr>.Maximum", "100");
    {
        const auto channel = create(tree);
        EXPECT_EQ(std::numeric_limits<double>::lowest(), channel->setpointMinimum());
        EXPECT_EQ(100.0, channel->setpointMaximum());
    }
    tree.erase("SetpointRange");
    tree.put("SetpointRange.<xmlattr>.Minimum", "-3.5");
    const auto channel = create(tree);
    EXPECT_EQ(-3.5, channel->setpointMinimum());
    EXPECT_EQ(std::numeric_limits<double>::max(), channel->setpointMaximum());
}

TEST_F(LocalControllerChannelFactory, RangeStandsInTheChannelAndNotInTheLoop)
{
    ptree loop = pidLoop(analogIn(), analogOut());
    loop.put("SetpointRange.<xmlattr>.Maximum", "100");
    EXPECT_EQ(std::numeric_limits<double>::max(), create(channelTree(loop))->setpointMaximum());
}

TEST_F(LocalControllerChannelFactory, RangeIsPassedOnAsItIs)
{
    ptree tree = channelTree(pidLoop(analogIn(), analogOut()));
    tree.put("SetpointRange.<xmlattr>.Minimum", "10");
    tree.put("SetpointRange.<xmlattr>.Maximum", "-10");
    const auto channel = create(tree);
    EXPECT_EQ(10.0, channel->setpointMinimum());
    EXPECT_EQ(-10.0, channel->setpointMaximum());
}

TEST_F(LocalControllerChannelFactory, RangeThatIsNoNumberCountsAsAbsent)
{
    ptree tree = channelTree(pidLoop(analogIn(), analogOut()));
    tree.put("SetpointRange.<xmlattr>.Minimum", "low");
    tree.put("SetpointRange.<xmlattr>.Maximum", "1,5");
    const auto channel = create(tree);
    EXPECT_EQ(std::numeric_limits<double>::lowest(), channel->setpointMinimum());
    EXPECT_EQ(std::numeric_limits<double>::max(), channel->setpointMaximum());
}

TEST_F(LocalControllerChannelFactory, InputSameAsOutputMakesOneElementBoth)
{
    ptree loop = pidLoop(lag(), ptree());
    loop.erase("Output");
    loop.put("InputSameAsOutput", "true");
    const auto channel = create(channelTree(loop));
    ASSERT_TRUE(std::dynamic_pointer_cast<Rvl::CPT1Element>(channel->controlLoop()->inputElement()));
    EXPECT_EQ(channel->controlLoop()->inputElement(), channel->controlLoop()->outputElement());
}

TEST_F(LocalControllerChannelFactory, InputSameAsOutputIgnoresAnOutput)
{
    ptree loop = pidLoop(lag(), node({{"Type", "Rvl::CNoSuchThing"}}));
    loop.put("InputSameAsOutput", "true");
    const auto channel = create(channelTree(loop));
    EXPECT_EQ(channel->controlLoop()->inputElement(), channel->controlLoop()->outputElement());
}

TEST_F(LocalControllerChannelFactory, InputSameAsOutputWithAnInputThatIsNoOutputGivesNoOutput)
{
    ptree loop = pidLoop(analogIn(), analogOut());
    loop.put("InputSameAsOutput", "true");
    const auto channel = create(channelTree(loop));
    EXPECT_FALSE(channel->controlLoop()->outputElement());
}

TEST_F(LocalControllerChannelFactory, InputSameAsOutputThatIsNoBooleanCountsAsAbsent)
{
    ptree loop = pidLoop(lag(), analogOut());
    loop.put("InputSameAsOutput", "yes");
    const auto channel = create(channelTree(loop));
    EXPECT_TRUE(
        std::dynamic_pointer_cast<Rvl::CAnalogChannelLoopOut>(channel->controlLoop()->outputElement()));
}

TEST_F(LocalControllerChannelFactory, InAndOutElementCanStandAsOutput)
{
    const auto channel = create(channelTree(pidLoop(analogIn(), lag())));
    EXPECT_TRUE(std::dynamic_pointer_cast<Rvl::CPT1Element>(channel->controlLoop()->outputElement()));
}

TEST_F(LocalControllerChannelFactory, OutputOfAControlLoopTypeIsACascade)
{
    const ptree pwm = node({{"Type", "Rvl::CPWMLoopOut"}, {"Channel", "Fan"}});
    const auto channel = create(channelTree(pidLoop(analogIn(), pidLoop(lag(), pidLoop(analogIn(), pwm)))));
    const auto outer = channel->controlLoop();
    const auto middle = std::dynamic_pointer_cast<IControlLoop>(outer->outputElement());
    ASSERT_TRUE(middle);
    EXPECT_TRUE(std::dynamic_pointer_cast<Rvl::CPT1Element>(middle->inputElement()));
    const auto inner = std::dynamic_pointer_cast<IControlLoop>(middle->outputElement());
    ASSERT_TRUE(inner);
    EXPECT_TRUE(std::dynamic_pointer_cast<Rvl::CPWMLoopOut>(inner->outputElement()));
}

TEST_F(LocalControllerChannelFactory, InAndOutElementsAreLookedUpFirst)
{
    const DefaultFactories restored;
    const auto loops = std::make_shared<Decoy<Rvl::IControlLoopFactory, IControlLoop>>("Rvl::CPT1Element");
    const auto inputs = std::make_shared<Decoy<Rvl::ILoopInFactory, Rvl::ILoopIn>>("Rvl::CPT1Element");
    const auto outputs = std::make_shared<Decoy<Rvl::ILoopOutFactory, Rvl::ILoopOut>>("Rvl::CPT1Element");
    ASSERT_TRUE(CLocalControllerChannel::controlLoopFactories().put(loops));
    ASSERT_TRUE(CLocalControllerChannel::loopInFactories().put(inputs));
    ASSERT_TRUE(CLocalControllerChannel::loopOutFactories().put(outputs));
    const auto channel = create(channelTree(pidLoop(lag(), lag())));
    EXPECT_TRUE(std::dynamic_pointer_cast<Rvl::CPT1Element>(channel->controlLoop()->inputElement()));
    EXPECT_TRUE(std::dynamic_pointer_cast<Rvl::CPT1Element>(channel->controlLoop()->outputElement()));
}

TEST_F(LocalControllerChannelFactory, OutputsAreLookedUpBeforeControlLoops)
{
    const DefaultFactories restored;
    const auto loops =
        std::make_shared<Decoy<Rvl::IControlLoopFactory, IControlLoop>>("Rvl::CAnalogChannelLoopOut");
    ASSERT_TRUE(CLocalControllerChannel::controlLoopFactories().put(loops));
    const auto channel = create(channelTree(pidLoop(analogIn(), analogOut())));
    EXPECT_TRUE(
        std::dynamic_pointer_cast<Rvl::CAnalogChannelLoopOut>(channel->controlLoop()->outputElement()));
}

TEST_F(LocalControllerChannelFactory, InputIsNeverAControlLoop)
{
    EXPECT_EQ("CConfigurationException: Factory Rvl::CPIDControlLoop does not exist in factory registry",
              faultOf([&] { create(channelTree(pidLoop(pidLoop(lag(), lag()), analogOut()))); }));
}

TEST_F(LocalControllerChannelFactory, UnknownTypesAreReportedByTheRegistry)
{
    const ptree unknown = node({{"Type", "Rvl::CNoSuchThing"}});
    const std::string fault =
        "CConfigurationException: Factory Rvl::CNoSuchThing does not exist in factory registry";
    EXPECT_EQ(fault, faultOf([&] { create(channelTree(unknown)); }));
    EXPECT_EQ(fault, faultOf([&] { create(channelTree(pidLoop(unknown, analogOut()))); }));
    EXPECT_EQ(fault, faultOf([&] { create(channelTree(pidLoop(analogIn(), unknown))); }));
}

TEST_F(LocalControllerChannelFactory, LoopIsBuiltBeforeItsInputAndTheInputBeforeTheOutput)
{
    const std::string fault =
        "CConfigurationException: Factory Rvl::CNoSuchThing does not exist in factory registry";
    const ptree unknown = node({{"Type", "Rvl::CNoSuchThing"}});
    EXPECT_EQ(fault, faultOf([&] { create(channelTree(unknown)); })) << "and not the missing input";
    ptree loop = pidLoop(ptree(), ptree());
    loop.erase("Input");
    loop.erase("Output");
    ptree faulty = loop;
    faulty.get_child("PIDParam.<xmlattr>").erase("K");
    EXPECT_EQ("ptree_bad_path: No such node (<xmlattr>.K)", faultOf([&] { create(channelTree(faulty)); }))
        << "and not the missing input";
    EXPECT_EQ("ptree_bad_path: No such node (Input)", faultOf([&] { create(channelTree(loop)); }))
        << "and not the missing output";
    loop.put_child("Input", unknown);
    EXPECT_EQ(fault, faultOf([&] { create(channelTree(loop)); })) << "and not the missing output";
}

TEST_F(LocalControllerChannelFactory, MissingNodesAreBadPaths)
{
    const auto faultWithout = [this](ptree tree, const char* parent, const char* key) {
        tree.get_child(parent).erase(key);
        return faultOf([&] { create(tree); });
    };
    const ptree tree = channelTree(pidLoop(analogIn(), analogOut()));
    EXPECT_EQ("ptree_bad_path: No such node (<xmlattr>.Name)", faultWithout(tree, "<xmlattr>", "Name"));
    EXPECT_EQ("ptree_bad_path: No such node (ControlLoop)", faultWithout(tree, "", "ControlLoop"));
    EXPECT_EQ("ptree_bad_path: No such node (Type)", faultWithout(tree, "ControlLoop", "Type"));
    EXPECT_EQ("ptree_bad_path: No such node (Input)", faultWithout(tree, "ControlLoop", "Input"));
    EXPECT_EQ("ptree_bad_path: No such node (Type)", faultWithout(tree, "ControlLoop.Input", "Type"));
    EXPECT_EQ("ptree_bad_path: No such node (Output)", faultWithout(tree, "ControlLoop", "Output"));
    EXPECT_EQ("ptree_bad_path: No such node (Type)", faultWithout(tree, "ControlLoop.Output", "Type"));
    EXPECT_EQ("ptree_bad_path: No such node (Channel)", faultWithout(tree, "ControlLoop.Output", "Channel"));
}

TEST_F(LocalControllerChannelFactory, FailureLeavesNothingBehind)
{
    CountingAnalogIn pressure("Pressure");
    const ptree input = node({{"Type", "Rvl::CAnalogChannelLoopIn"}, {"Channel", "Pressure"}});
    EXPECT_NE("nothing was thrown", faultOf([&] {
                  create(channelTree(pidLoop(input, node({{"Type", "Rvl::CNone"}}))));
              }));
    EXPECT_THAT(CLocalControllerChannel::NameServer.names(), IsEmpty());
    pressure.publishValue(1.0);
    EXPECT_EQ(0, pressure.reads) << "no input listens any more";
}

TEST_F(LocalControllerChannelFactory, NameThatIsTakenFails)
{
    const ptree tree = channelTree(pidLoop(analogIn(), analogOut()));
    const auto first = create(tree);
    EXPECT_EQ("CConfigurationException: Object Controller is already registered on this name server",
              faultOf([&] { create(tree); }));
    EXPECT_EQ(first.get(), CLocalControllerChannel::NameServer.lookupObject("Controller"));
}

TEST_F(LocalControllerChannelFactory, DerivedFactoryChoosesTheClassOfTheChannel)
{
    class OtherChannel : public CLocalControllerChannel
    {
    public:
        using CLocalControllerChannel::CLocalControllerChannel;
    };
    class OtherFactory : public Rvl::CLocalControllerChannelFactory
    {
    protected:
        CLocalControllerChannel* createControlChannelObject(const std::string& name,
                                                            std::shared_ptr<IControlLoop> loop) const override
        {
            return new OtherChannel(name, std::move(loop));
        }
    };
    const std::unique_ptr<Rvl::IIoChannelInterface> channel(
        OtherFactory().createObject(channelTree(pidLoop(analogIn(), analogOut()))));
    EXPECT_NE(nullptr, dynamic_cast<OtherChannel*>(channel.get()));
}

TEST_F(LocalControllerChannelFactory, OperationsStandInTheirSlots)
{
    struct Exposed : Rvl::CLocalControllerChannelFactory
    {
        static std::size_t createObjectImplSlot() { return virtualSlot(&Exposed::createObjectImpl); }
        static std::size_t createControlChannelObjectSlot()
        {
            return virtualSlot(&Exposed::createControlChannelObject);
        }
    };
    EXPECT_EQ(2u, virtualSlot(&Exposed::getTypeName)); // after the destructor's two
    EXPECT_EQ(3u, Exposed::createObjectImplSlot());
    EXPECT_EQ(4u, virtualSlot(&Exposed::createObject));
    EXPECT_EQ(5u, Exposed::createControlChannelObjectSlot());
}
