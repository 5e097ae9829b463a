#include "platform/rivlink_device/DigitalOutChannel.h"

#include "platform/rivlink_common/ConfigurationException.h"
#include "platform/rivlink_common/DeviceAccessException.h"

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>

#include <limits>

using namespace Rvl;
using testing::ElementsAre;

namespace {

class CDigitalTestOut : public CDigitalOutChannel
{
public:
    CDigitalTestOut() : CDigitalOutChannel("Valve") {}
    std::vector<std::string> driven;
    bool offline = false;

protected:
    void driveOutput(bool on) override { access(on ? "on" : "off"); }
    void drivePWMMode(bool on) override { access(on ? "pwm on" : "pwm off"); }
    void driveDutyCycle(unsigned percent) override { access(std::to_string(percent) + " %"); }

private:
    void access(const std::string& what)
    {
        if (offline) {
            throw CDeviceAccessException("device Bench is offline");
        }
        driven.push_back(what);
    }
};

} // namespace

TEST(DigitalOutChannel, DrivesAndRemembers)
{
    CDigitalTestOut out;
    EXPECT_FALSE(out.isOn());
    out.writeOutput(true);
    EXPECT_TRUE(out.isOn());
    out.writeOutput(false);
    EXPECT_FALSE(out.isOn());
    out.setPWMMode(true);
    EXPECT_TRUE(out.isPWMMode());
    out.safeWritePWMDutyCycle(40);
    EXPECT_EQ(40u, out.dutyCycle());
    EXPECT_THAT(out.driven, ElementsAre("on", "off", "pwm on", "40 %"));
}

TEST(DigitalOutChannel, DutyCycleIsLimitedToAlwaysOn)
{
    CDigitalTestOut out;
    out.setPWMMode(true);
    for (const unsigned percent : {0u, 100u, 101u, 2147483647u}) {
        out.safeWritePWMDutyCycle(percent);
    }
    EXPECT_THAT(out.driven, ElementsAre("pwm on", "0 %", "100 %", "100 %", "100 %"));
}

TEST(DigitalOutChannel, NegativeDutyCycleIsOff)
{
    CDigitalTestOut out;
    out.safeWritePWMDutyCycle(100);
    for (const int percent : {-1, -100, std::numeric_limits<int>::min()}) {
        out.safeWritePWMDutyCycle(static_cast<unsigned>(percent));
        EXPECT_EQ(0u, out.dutyCycle()) << percent;
    }
    EXPECT_THAT(out.driven, ElementsAre("pwm on", "100 %", "0 %", "0 %", "0 %"));
}

TEST(DigitalOutChannel, DutyCycleTakesAnOnOffChannelIntoPWMMode)
{
    CDigitalTestOut out;
    out.writeOutput(true);
    out.safeWritePWMDutyCycle(40);
    EXPECT_TRUE(out.isPWMMode());
    out.safeWritePWMDutyCycle(50);
    EXPECT_THAT(out.driven, ElementsAre("on", "pwm on", "40 %", "50 %"));
}

TEST(DigitalOutChannel, AbsentDeviceMarksTheChannelAndThrowsNothing)
{
    CDigitalTestOut out;
    out.offline = true;
    EXPECT_NO_THROW(out.writeOutput(true));
    EXPECT_EQ("device Bench is offline", out.fault());
    EXPECT_FALSE(out.isOn());
    EXPECT_NO_THROW(out.setPWMMode(true));
    EXPECT_FALSE(out.isPWMMode());
    EXPECT_NO_THROW(out.safeWritePWMDutyCycle(50));
    EXPECT_EQ(0u, out.dutyCycle());
    out.offline = false;
    out.writeOutput(true);
    EXPECT_FALSE(out.isFaulty());
}

TEST(DigitalOutChannel, RestoreSendsTheLastValueWritten)
{
    CDigitalTestOut out;
    out.restoreOutput();
    EXPECT_THAT(out.driven, ElementsAre()) << "nothing was ever written";
    out.offline = true;
    out.setPWMMode(true);
    out.safeWritePWMDutyCycle(30);
    out.safeWritePWMDutyCycle(35);
    out.offline = false;
    out.restoreOutput();
    EXPECT_THAT(out.driven, ElementsAre("pwm on", "35 %"));
    out.writeOutput(true);
    out.driven.clear();
    out.restoreOutput();
    EXPECT_THAT(out.driven, ElementsAre("pwm on", "on", "35 %"));
}

TEST(DigitalOutChannel, ReadsItsSafeValue)
{
    CDigitalTestOut out;
    boost::property_tree::ptree tree;
    out.setProperties(tree);
    EXPECT_EQ(0U, out.safeDutyCycle());
    tree.put("<xmlattr>.SafeValue", "100");
    out.setProperties(tree);
    EXPECT_EQ(100U, out.safeDutyCycle());
    for (const char* const outside : {"-1", "101"}) {
        tree.put("<xmlattr>.SafeValue", outside);
        EXPECT_THROW(out.setProperties(tree), CConfigurationException);
    }
    tree.put("<xmlattr>.SafeValue", "on");
    EXPECT_THROW(out.setProperties(tree), boost::property_tree::ptree_bad_data);
    EXPECT_EQ(100U, out.safeDutyCycle()) << "nothing is taken over from a bad node";
    EXPECT_THAT(out.driven, ElementsAre());
}
