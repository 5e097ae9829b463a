#include "platform/rivlink_device/ControllerChannel.h"

#include "platform/rivlink_device/LinearScaling.h"
#include "tests/support/LogCapture.h"
#include "tests/support/VirtualSlot.h"

#include <gmock/gmock.h>

#include <limits>
#include <stdexcept>

using namespace Rvl;
using testing::ElementsAre;

namespace {

class CTestController : public IControllerChannel
{
public:
    explicit CTestController(const std::string& name = "Oven") : IControllerChannel(name) {}
    void writeSetPointUnscaled(double setPoint) override { setPoints.push_back(setPoint); }
    double getSetPoint() override { return 0.0; }
    double readControlValue() override { return 0.0; }
    void writeManualControlValue(double) override {}
    double readActualValueUnscaled() override { return 20.0; }
    void setEnabled(bool) override {}
    void setManualMode(bool) override {}
    bool isControlLoopEnabled() override { return false; }
    void writeManualControlValueUnscaled(double) override {}
    double readControlValueUnscaled() override { return 0.0; }

    std::vector<double> setPoints;
};

} // namespace

TEST(ControllerChannel, SetPointReachesTheUnscaledWrite)
{
    CTestController controller;
    controller.writeSetPoint(1e300);
    controller.setScaling(new CLinearScaling(1.8, 32.0, "degF"));
    controller.writeSetPoint(212.0);
    EXPECT_THAT(controller.setPoints, ElementsAre(1e300, testing::DoubleEq(100.0)));
}

TEST(ControllerChannel, ActualValueIsScaled)
{
    CTestController controller;
    EXPECT_DOUBLE_EQ(20.0, controller.readActualValue());
    controller.setScaling(new CLinearScaling(1.8, 32.0, "degF"));
    EXPECT_DOUBLE_EQ(68.0, controller.readActualValue());
}

TEST(ControllerChannel, SetPointOutsideTheRangeIsRefusedAndNothingWritten)
{
    CTestController controller;
    controller.setSetpointRange(0.0, 100.0);
    Rvl::Test::LogCapture log("ExceptionLogger");
    try {
        controller.writeSetPoint(120.5);
        FAIL() << "nothing was thrown";
    } catch (const std::out_of_range& exception) {
        EXPECT_STREQ("Set point 120.5 of channel Oven is outside its range 0 to 100", exception.what());
    }
    EXPECT_THAT(log.lines(),
                ElementsAre("ERROR Exception std::out_of_range thrown: Set point 120.5 of channel "
                            "Oven is outside its range 0 to 100"));
    EXPECT_THROW(controller.writeSetPoint(-0.1), std::out_of_range);
    EXPECT_THROW(controller.writeSetPoint(std::numeric_limits<double>::quiet_NaN()), std::out_of_range);
    EXPECT_THAT(controller.setPoints, ElementsAre());
    controller.writeSetPoint(0.0);
    controller.writeSetPoint(100.0);
    EXPECT_THAT(controller.setPoints, ElementsAre(0.0, 100.0)) << "both ends belong to the range";
}

TEST(ControllerChannel, RangeHoldsInScaledUnits)
{
    CTestController controller;
    controller.setScaling(new CLinearScaling(1000.0, 0.0, "mK"));
    controller.setSetpointRange(0.0, 100.0);
    controller.writeSetPoint(100.0);
    EXPECT_THAT(controller.setPoints, ElementsAre(testing::DoubleEq(0.1)));
    EXPECT_EQ(0.0, controller.setpointMinimum());
    EXPECT_EQ(100.0, controller.setpointMaximum());
}

TEST(ControllerChannel, RangeIsUnlimitedAtFirst)
{
    CTestController controller;
    EXPECT_EQ(std::numeric_limits<double>::lowest(), controller.setpointMinimum());
    EXPECT_EQ(std::numeric_limits<double>::max(), controller.setpointMaximum());
}

TEST(ControllerChannel, IsOnItsNameServerForItsLife)
{
    {
        CTestController controller;
        EXPECT_EQ(&controller, IControllerChannel::NameServer.lookupObject("Oven"));
        EXPECT_THROW(CTestController("Oven"), CConfigurationException);
    }
    EXPECT_THAT(IControllerChannel::NameServer.names(), testing::IsEmpty());
}

TEST(ControllerChannel, OperationsStandInTheirSlots)
{
    using Rvl::Test::virtualSlot;
    const std::vector<std::size_t> slots = {
        virtualSlot(&IControllerChannel::getName), // after the destructor's two
        virtualSlot(&IControllerChannel::connectToDevice),
        virtualSlot(&IControllerChannel::setProperties),
        virtualSlot(&IControllerChannel::writeSetPoint),
        virtualSlot(&IControllerChannel::readActualValue),
        virtualSlot(&IControllerChannel::writeSetPointUnscaled),
        virtualSlot(&IControllerChannel::getSetPoint),
        virtualSlot(&IControllerChannel::readControlValue),
        virtualSlot(&IControllerChannel::writeManualControlValue),
        virtualSlot(&IControllerChannel::readActualValueUnscaled),
        virtualSlot(&IControllerChannel::setEnabled),
        virtualSlot(&IControllerChannel::setManualMode),
        virtualSlot(&IControllerChannel::isControlLoopEnabled),
        virtualSlot(&IControllerChannel::writeManualControlValueUnscaled),
        virtualSlot(&IControllerChannel::readControlValueUnscaled),
    };
    EXPECT_THAT(slots, ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16));
}

TEST(ControllerChannel, BasesStandInOrder)
{
    using Registrator = CNameServerRegistrator<IControllerChannel*, CNameServer<IControllerChannel*>>;
    CTestController controller;
    const auto offset = [&controller](auto& base) {
        return reinterpret_cast<const char*>(&base) - reinterpret_cast<const char*>(&controller);
    };
    EXPECT_EQ(0, offset(static_cast<IIoChannelInterface&>(controller)));
    EXPECT_LT(0, offset(static_cast<IScalable&>(controller)));
    EXPECT_LT(offset(static_cast<IScalable&>(controller)), offset(static_cast<Registrator&>(controller)));
}
