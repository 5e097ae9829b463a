#include "driver/local/controller/controlloopoutput/PWMTwoQuadrantLoopOut.h"

#include "driver/local/controller/controlloopoutput/PWMTwoQuadrantLoopOutFactory.h"
#include "tests/support/FakeDeviceChannels.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/driver/local/controller/ElementTesting.h"

#include <gmock/gmock.h>

#include <cmath>
#include <memory>

using namespace Rvl::Test;
using Rvl::CPWMTwoQuadrantLoopOut;
using testing::ElementsAre;
using testing::IsEmpty;

class PWMTwoQuadrantLoopOut : public testing::Test
{
protected:
    static boost::property_tree::ptree configuration()
    {
        return node({{"DigitalOut.<xmlattr>.Device", "Port"},
                     {"DigitalOut.<xmlattr>.Negative", "1"},
                     {"DigitalOut.<xmlattr>.Positive", "2"}});
    }

    Journal journal;
    FakeDigitalPort port{"Port", journal};
    FakeDigitalOut channel{"Motor", journal};
};

TEST_F(PWMTwoQuadrantLoopOut, WithoutAChannelSetsTheDirectionAndNoMagnitude)
{
    CPWMTwoQuadrantLoopOut output(configuration());
    output.init();
    output.write(3.5);
    output.write(-3.5);
    EXPECT_THAT(journal.entries(), ElementsAre("Port 3 2", "Port 3 1"));
}

TEST_F(PWMTwoQuadrantLoopOut, WithoutAChannelWarnsOnce)
{
    LogCapture log("LocalLogger");
    CPWMTwoQuadrantLoopOut output(configuration());
    EXPECT_THAT(log.lines(), IsEmpty());
    output.init();
    output.init();
    output.write(1.0);
    EXPECT_THAT(log.lines(), ElementsAre("WARN CPWMTwoQuadrantLoopOut has no PWM channel: it sets the "
                                         "direction and writes no magnitude"));
}

TEST_F(PWMTwoQuadrantLoopOut, ConfigurationCannotNameAChannel)
{
    auto tree = configuration();
    tree.put("Channel", "Motor");
    CPWMTwoQuadrantLoopOut output(tree);
    output.init();
    output.write(3.5);
    EXPECT_THAT(journal.entries(), ElementsAre("Port 3 2"));
}

TEST_F(PWMTwoQuadrantLoopOut, InitTakesTheChannelIntoPWMMode)
{
    LogCapture log("LocalLogger");
    CPWMTwoQuadrantLoopOut output(configuration(), &channel);
    EXPECT_THAT(journal.entries(), IsEmpty());
    output.init();
    EXPECT_THAT(journal.entries(), ElementsAre("Motor PWM on"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(PWMTwoQuadrantLoopOut, MagnitudeIsTruncatedToTheDutyCycle)
{
    CPWMTwoQuadrantLoopOut output(configuration(), &channel);
    output.init();
    journal.clear();
    output.write(50.7);
    output.write(-99.9);
    output.write(0.0);
    output.write(std::nan(""));
    EXPECT_THAT(journal.entries(), ElementsAre("Port 3 2", "Motor duty 50", "Port 3 1", "Motor duty 99",
                                               "Motor duty 0", "Motor duty 0"));
}

TEST_F(PWMTwoQuadrantLoopOut, FactoryBuildsIt)
{
    Rvl::CPWMTwoQuadrantLoopOutFactory factory;
    EXPECT_EQ("Rvl::CPWMTwoQuadrantLoopOut", factory.getTypeName());
    const std::unique_ptr<Rvl::ILoopOut> output(factory.createObject(configuration()));
    EXPECT_NE(nullptr, dynamic_cast<CPWMTwoQuadrantLoopOut*>(output.get()));
    EXPECT_EQ("ptree_bad_path: No such node (DigitalOut.<xmlattr>.Device)",
              faultOf([&] { factory.createObject(node({})); }));
}
