#include "driver/local/controller/controlloop/TwoLevelParameters.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

using namespace Rvl;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

TEST(TwoLevelParameters, BeginWithSevenZeros)
{
    const CTwoLevelParameters parameters;
    EXPECT_THAT(parameters.data(), SizeIs(7));
    EXPECT_THAT(parameters.data(), Each(0.0));
    EXPECT_EQ(parameters.name(), "");
}

TEST(TwoLevelParameters, AccessorsUseTheirEntries)
{
    CTwoLevelParameters parameters;
    parameters.setUpperThresholdOffset(1);
    parameters.setLowerThresholdOffset(2);
    parameters.setControlValueUp(3);
    parameters.setControlValueDown(4);
    parameters.setDisabledU(5);
    parameters.setInitialSetpoint(6);
    parameters.setSampleTime(7);
    EXPECT_THAT(parameters.data(), ElementsAre(1, 2, 3, 4, 5, 6, 7));
    EXPECT_EQ(parameters.getUpperThresholdOffset(), 1.0);
    EXPECT_EQ(parameters.getLowerThresholdOffset(), 2.0);
    EXPECT_EQ(parameters.getControlValueUp(), 3.0);
    EXPECT_EQ(parameters.getControlValueDown(), 4.0);
    EXPECT_EQ(static_cast<const CControlParameters&>(parameters).getDisabledU(), 5.0);
    EXPECT_EQ(parameters.initialSetpoint(), 6.0);
    EXPECT_EQ(parameters.getSampleTime(), 7);
}

TEST(TwoLevelParameters, SampleTimeLosesItsFractionTowardsZero)
{
    CTwoLevelParameters parameters;
    parameters.setValue(6, 99.9);
    EXPECT_EQ(parameters.getSampleTime(), 99);
    parameters.setValue(6, -1.9);
    EXPECT_EQ(parameters.getSampleTime(), -1);
}

TEST(TwoLevelParameters, SampleTimeThatNoIntHoldsIsTheNearestOne)
{
    CTwoLevelParameters parameters;
    parameters.setValue(6, 1e300);
    EXPECT_EQ(parameters.getSampleTime(), std::numeric_limits<int>::max());
    parameters.setValue(6, -1e300);
    EXPECT_EQ(parameters.getSampleTime(), std::numeric_limits<int>::min());
    parameters.setValue(6, std::nan(""));
    EXPECT_EQ(parameters.getSampleTime(), 0);
}

TEST(TwoLevelParameters, CopiesCarryNameAndValues)
{
    CTwoLevelParameters original;
    original.setName("P");
    original.setControlValueUp(3);
    const CTwoLevelParameters copy(original);
    CTwoLevelParameters assigned;
    assigned = original;
    EXPECT_EQ(copy.name(), "P");
    EXPECT_EQ(copy.data(), original.data());
    EXPECT_EQ(assigned.name(), "P");
    EXPECT_EQ(assigned.data(), original.data());
}

TEST(TwoLevelParameters, CopiesCarryTheImmutableFlag)
{
    CTwoLevelParameters original;
    original.setImmutable(true);
    const CTwoLevelParameters copy(original);
    EXPECT_TRUE(copy.isImmutable());
    CTwoLevelParameters assigned;
    assigned = original;
    EXPECT_TRUE(assigned.isImmutable());
    assigned = CTwoLevelParameters();
    EXPECT_FALSE(assigned.isImmutable()) << "an immutable set may be assigned to";
}
