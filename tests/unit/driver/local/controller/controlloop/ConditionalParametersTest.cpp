#include "driver/local/controller/controlloop/ConditionalParameters.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

using namespace Rvl;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

TEST(ConditionalParameters, BeginWithEightZeros)
{
    const CConditionalParameters parameters;
    EXPECT_THAT(parameters.data(), SizeIs(8));
    EXPECT_THAT(parameters.data(), Each(0.0));
    EXPECT_EQ(parameters.name(), "");
}

TEST(ConditionalParameters, AccessorsUseTheirEntriesAndLeaveTheReservedAlone)
{
    CConditionalParameters parameters;
    parameters.setUpperLimit(1);
    parameters.setLowerLimit(2);
    parameters.setThreshold(3);
    parameters.setDisabledU(4);
    parameters.setInitialSetpoint(5);
    parameters.setSampleTime(6);
    EXPECT_THAT(parameters.data(), ElementsAre(1, 2, 3, 0, 4, 0, 5, 6));
    EXPECT_EQ(parameters.getUpperLimit(), 1.0);
    EXPECT_EQ(parameters.getLowerLimit(), 2.0);
    EXPECT_EQ(parameters.getThreshold(), 3.0);
    EXPECT_EQ(static_cast<const CControlParameters&>(parameters).getDisabledU(), 4.0);
    EXPECT_EQ(parameters.initialSetpoint(), 5.0);
    EXPECT_EQ(parameters.getSampleTime(), 6);
}

TEST(ConditionalParameters, SampleTimeLosesItsFractionTowardsZero)
{
    CConditionalParameters parameters;
    parameters.setValue(7, 99.9);
    EXPECT_EQ(parameters.getSampleTime(), 99);
    parameters.setValue(7, -1.9);
    EXPECT_EQ(parameters.getSampleTime(), -1);
}

TEST(ConditionalParameters, NoLimitIsTheLargestUnsignedInteger)
{
    EXPECT_EQ(CConditionalParameters::NoLimit, 4294967295.0);
}

TEST(ConditionalParameters, SampleTimeThatNoIntHoldsIsTheNearestOne)
{
    CConditionalParameters parameters;
    parameters.setValue(7, 1e300);
    EXPECT_EQ(parameters.getSampleTime(), std::numeric_limits<int>::max());
    parameters.setValue(7, 2147483648.0); // the first that none can hold
    EXPECT_EQ(parameters.getSampleTime(), std::numeric_limits<int>::max());
    parameters.setValue(7, 2147483647.0);
    EXPECT_EQ(parameters.getSampleTime(), std::numeric_limits<int>::max());
    parameters.setValue(7, -1e300);
    EXPECT_EQ(parameters.getSampleTime(), std::numeric_limits<int>::min());
    parameters.setValue(7, std::nan(""));
    EXPECT_EQ(parameters.getSampleTime(), 0);
}

TEST(ConditionalParameters, CopiesCarryNameAndValues)
{
    CConditionalParameters original;
    original.setName("P");
    original.setThreshold(3);
    const CConditionalParameters copy(original);
    CConditionalParameters assigned;
    assigned = original;
    EXPECT_EQ(copy.name(), "P");
    EXPECT_EQ(copy.data(), original.data());
    EXPECT_EQ(assigned.name(), "P");
    EXPECT_EQ(assigned.data(), original.data());
}

TEST(ConditionalParameters, CopiesCarryTheImmutableFlag)
{
    CConditionalParameters original;
    original.setImmutable(true);
    const CConditionalParameters copy(original);
    EXPECT_TRUE(copy.isImmutable());
    CConditionalParameters assigned;
    assigned = original;
    EXPECT_TRUE(assigned.isImmutable());
    assigned = CConditionalParameters();
    EXPECT_FALSE(assigned.isImmutable()) << "an immutable set may be assigned to";
}
