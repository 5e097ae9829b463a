#include "driver/local/controller/controlloopoutput/DutyCycle.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using Rvl::dutyCycleFromControlValue;

TEST(DutyCycle, TruncatesTowardZero)
{
    EXPECT_EQ(50u, dutyCycleFromControlValue(50.7));
    EXPECT_EQ(99u, dutyCycleFromControlValue(99.9));
    EXPECT_EQ(0u, dutyCycleFromControlValue(0.4));
    EXPECT_EQ(0u, dutyCycleFromControlValue(-0.9));
    EXPECT_EQ(0u, dutyCycleFromControlValue(-0.0));
}

TEST(DutyCycle, NegativeValuesWrap)
{
    EXPECT_EQ(4294967295u, dutyCycleFromControlValue(-1.0));
    EXPECT_EQ(4294967294u, dutyCycleFromControlValue(-2.9));
}

TEST(DutyCycle, OnlyTheLow32BitsRemain)
{
    EXPECT_EQ(4294967295u, dutyCycleFromControlValue(4294967295.0));
    EXPECT_EQ(0u, dutyCycleFromControlValue(4294967296.0));
    EXPECT_EQ(7u, dutyCycleFromControlValue(4294967303.0));
    EXPECT_EQ(0u, dutyCycleFromControlValue(-9223372036854775808.0));
    EXPECT_EQ(4294966272u, dutyCycleFromControlValue(9223372036854774784.0)) << "the largest that fits";
}

TEST(DutyCycle, WhatDoesNotFitInto64BitsIsZero)
{
    EXPECT_EQ(0u, dutyCycleFromControlValue(9223372036854775808.0));
    EXPECT_EQ(0u, dutyCycleFromControlValue(-1e300));
    EXPECT_EQ(0u, dutyCycleFromControlValue(1e300));
    EXPECT_EQ(0u, dutyCycleFromControlValue(std::numeric_limits<double>::infinity()));
    EXPECT_EQ(0u, dutyCycleFromControlValue(-std::numeric_limits<double>::infinity()));
    EXPECT_EQ(0u, dutyCycleFromControlValue(std::nan("")));
}
