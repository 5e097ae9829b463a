#include "driver/local/controller/common/LoopElements.h"

#include "tests/support/FakeLoopElements.h"
#include "tests/support/VirtualSlot.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <type_traits>

using namespace Rvl;
using namespace Rvl::Test;
using testing::ElementsAre;

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

class InOut : public ILoopInOut
{
public:
    double readInputValue() override { return value; }
    void writeOutputValue(double written) override { value = written; }
    double value = 0.0;
};

} // namespace

TEST(LoopOutInterface, EqualValueIsDeliveredOnce)
{
    FakeLoopOut output;
    output.write(5.0);
    output.write(5.0);
    EXPECT_THAT(output.written, ElementsAre(5.0));
}

TEST(LoopOutInterface, FirstWriteIsAlwaysDelivered)
{
    FakeLoopOut output;
    output.write(0.0);
    EXPECT_THAT(output.written, ElementsAre(0.0));
}

TEST(LoopOutInterface, NaNIsDeliveredEachTime)
{
    FakeLoopOut output;
    output.write(notANumber);
    output.write(notANumber);
    output.write(1.0);
    ASSERT_EQ(output.written.size(), 3u);
    EXPECT_TRUE(std::isnan(output.written[0]));
    EXPECT_TRUE(std::isnan(output.written[1]));
    EXPECT_EQ(output.written[2], 1.0);
}

TEST(LoopOutInterface, SmallestDifferenceIsDelivered)
{
    FakeLoopOut output;
    const double next = std::nextafter(1.0, 2.0);
    output.write(1.0);
    output.write(next);
    EXPECT_THAT(output.written, ElementsAre(1.0, next));
}

TEST(LoopOutInterface, NegativeZeroEqualsZero)
{
    FakeLoopOut output;
    output.write(0.0);
    output.write(-0.0);
    EXPECT_THAT(output.written, ElementsAre(0.0));
}

TEST(LoopOutInterface, ValueReturnedToIsDeliveredAgain)
{
    FakeLoopOut output;
    output.write(1.0);
    output.write(2.0);
    output.write(1.0);
    EXPECT_THAT(output.written, ElementsAre(1.0, 2.0, 1.0));
}

TEST(LoopOutInterface, ValueCountsAsWrittenThoughItsDeliveryThrew)
{
    FakeLoopOut output;
    output.onWrite = [] { throw std::runtime_error("no device"); };
    EXPECT_THROW(output.write(1.0), std::runtime_error);
    output.write(1.0);
    EXPECT_THAT(output.written, ElementsAre(1.0));
}

TEST(LoopOutInterface, UnfilteredDeliveryLeavesTheFilterAlone)
{
    FakeLoopOut output;
    output.write(1.0);
    output.writeOutputValue(2.0);
    output.write(1.0);
    EXPECT_THAT(output.written, ElementsAre(1.0, 2.0));
}

TEST(LoopOutInterface, EnablingDoesNothingByDefault)
{
    InOut element;
    element.write(3.0);
    element.setEnabled(true);
    element.setEnabled(false);
    EXPECT_EQ(element.value, 3.0);
    element.value = 0.0;
    element.write(3.0);
    EXPECT_EQ(element.value, 0.0) << "the filter still has the last value";
}

TEST(LoopOutInterface, OperationsStandInTheirSlots)
{
    EXPECT_EQ(virtualSlot(&ILoopOutInterface::writeOutputValue), 0u);
    EXPECT_EQ(virtualSlot(&ILoopOutInterface::setEnabled), 3u); // after the destructor's two
}

TEST(LoopInInterface, OperationsStandInTheirSlots)
{
    EXPECT_EQ(virtualSlot(&ILoopInInterface::readInputValue), 2u); // after the destructor's two
}

TEST(LoopInOut, IsInputOutputAndElement)
{
    InOut element;
    static_cast<ILoopOutInterface&>(element).write(3.0);
    EXPECT_EQ(static_cast<ILoopInInterface&>(element).readInputValue(), 3.0);
    static_cast<IControlLoopElement&>(element).init();
    EXPECT_EQ(element.value, 3.0);
}

TEST(LoopElements, BasesStandInOrder)
{
    InOut inOut;
    const auto address = [](auto& base) { return reinterpret_cast<const char*>(&base); };
    EXPECT_LT(address(static_cast<ILoopInInterface&>(inOut)),
              address(static_cast<ILoopOutInterface&>(inOut)));
    EXPECT_LT(address(static_cast<ILoopOutInterface&>(inOut)),
              address(static_cast<IControlLoopElement&>(inOut)));
    FakeLoopIn input;
    EXPECT_LT(address(static_cast<ILoopInInterface&>(input)),
              address(static_cast<IControlLoopElement&>(input)));
    FakeLoopOut output;
    EXPECT_LT(address(static_cast<ILoopOutInterface&>(output)),
              address(static_cast<IControlLoopElement&>(output)));
}

TEST(LoopElements, AreNotCopyable)
{
    EXPECT_FALSE(std::is_copy_constructible_v<FakeLoopIn>);
    EXPECT_FALSE(std::is_copy_assignable_v<FakeLoopIn>);
    EXPECT_FALSE(std::is_copy_constructible_v<FakeLoopOut>);
    EXPECT_FALSE(std::is_copy_assignable_v<FakeLoopOut>);
    EXPECT_FALSE(std::is_copy_constructible_v<InOut>);
    EXPECT_FALSE(std::is_copy_assignable_v<InOut>);
}
