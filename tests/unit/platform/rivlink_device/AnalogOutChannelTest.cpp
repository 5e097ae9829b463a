#include "platform/rivlink_device/AnalogOutChannel.h"

#include "platform/rivlink_common/DeviceAccessException.h"
#include "platform/rivlink_device/LinearScaling.h"

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

using namespace Rvl;
using boost::property_tree::ptree;
using testing::ElementsAre;

namespace {

class CAnalogTestOut : public CAnalogOutChannel
{
public:
    CAnalogTestOut() : CAnalogOutChannel("Heater") {}
    std::vector<double> driven;
    bool offline = false;

protected:
    void driveOutput(double value) override
    {
        if (offline) {
            throw CDeviceAccessException("device Bench is offline");
        }
        driven.push_back(value);
    }
};

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

} // namespace

TEST(AnalogOutChannel, ClampsToItsRange)
{
    CAnalogTestOut out;
    out.setRange(-1.0, 10.0, 0.0);
    for (const double value : {5.0, 10.0, 10.1, -1.0, -1.1, std::numeric_limits<double>::infinity()}) {
        out.safeWriteOutput(value);
    }
    EXPECT_THAT(out.driven, ElementsAre(5.0, 10.0, 10.0, -1.0, -1.0, 10.0));
    EXPECT_FALSE(out.isFaulty()) << "a value out of range is limited, not a fault";
}

TEST(AnalogOutChannel, DrivesUnscaledButRemembersScaled)
{
    CAnalogTestOut out;
    out.setScaling(new CLinearScaling(0.1, 0.0, "V"));
    out.setRange(0.0, 5.0, 0.0);
    out.safeWriteOutput(7.0);
    EXPECT_THAT(out.driven, ElementsAre(50.0));
    EXPECT_DOUBLE_EQ(5.0, out.outputValue());
}

TEST(AnalogOutChannel, NotANumberWritesTheSafeValueAndIsAFault)
{
    CAnalogTestOut out;
    out.setRange(0.0, 10.0, 2.0);
    EXPECT_TRUE(std::isnan(out.outputValue())) << "nothing was written yet";
    out.safeWriteOutput(notANumber);
    EXPECT_THAT(out.driven, ElementsAre(2.0));
    EXPECT_EQ("the value to write is not a number; the safe value was written instead", out.fault());
    out.safeWriteOutput(3.0);
    EXPECT_EQ("", out.fault());
}

TEST(AnalogOutChannel, AbsentDeviceMarksTheChannelAndThrowsNothing)
{
    CAnalogTestOut out;
    out.safeWriteOutput(1.0);
    out.offline = true;
    EXPECT_NO_THROW(out.safeWriteOutput(2.0));
    EXPECT_EQ("device Bench is offline", out.fault());
    EXPECT_DOUBLE_EQ(1.0, out.outputValue()) << "the last value that was sent";
    out.offline = false;
    out.safeWriteOutput(3.0);
    EXPECT_FALSE(out.isFaulty());
}

TEST(AnalogOutChannel, RestoreSendsTheLastValueWritten)
{
    CAnalogTestOut out;
    out.restoreOutput();
    EXPECT_THAT(out.driven, ElementsAre()) << "nothing was ever written";
    out.safeWriteOutput(1.0);
    out.offline = true;
    out.safeWriteOutput(2.0);
    out.offline = false;
    out.restoreOutput();
    EXPECT_THAT(out.driven, ElementsAre(1.0, 2.0));
    EXPECT_FALSE(out.isFaulty());
}

TEST(AnalogOutChannel, ReadsItsNode)
{
    CAnalogTestOut out;
    ptree tree;
    out.setProperties(tree);
    EXPECT_EQ(std::numeric_limits<double>::lowest(), out.minimum());
    EXPECT_EQ(std::numeric_limits<double>::max(), out.maximum());
    EXPECT_EQ(0.0, out.safeValue());
    tree.put("Range.<xmlattr>.Minimum", "4");
    tree.put("Range.<xmlattr>.Maximum", "20");
    EXPECT_THROW(out.setProperties(tree), CConfigurationException) << "0 lies outside 4 to 20";
    tree.put("<xmlattr>.SafeValue", "4");
    out.setProperties(tree);
    EXPECT_EQ(4.0, out.minimum());
    EXPECT_EQ(20.0, out.maximum());
    EXPECT_EQ(4.0, out.safeValue());
    tree.put("Range.<xmlattr>.Maximum", "many");
    EXPECT_THROW(out.setProperties(tree), boost::property_tree::ptree_bad_data);
    EXPECT_EQ(20.0, out.maximum()) << "nothing is taken over from a bad node";
}
