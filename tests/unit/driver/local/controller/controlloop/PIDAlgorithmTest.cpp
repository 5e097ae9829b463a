#include "driver/local/controller/controlloop/PIDAlgorithm.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

using namespace Rvl;

namespace {

/// Opens CPIDAlgorithm::bumplessParameterChange(), which nothing calls: an explicit instantiation may name a
/// private member.
using Operation = void (CPIDAlgorithm::*)();
Operation bumplessParameterChange();
template <Operation operation> struct Opened
{
    friend Operation bumplessParameterChange() { return operation; }
};
template struct Opened<&CPIDAlgorithm::bumplessParameterChange>;

/// Gain 1, limits +-1000, sample time 100 ms, nothing else.
CPIDParameters proportional()
{
    CPIDParameters parameters("P");
    parameters.setK(1);
    parameters.setMaxU(1000);
    parameters.setMinU(-1000);
    parameters.setSampleTime(100);
    return parameters;
}

CPIDAlgorithm with(const CPIDParameters& parameters)
{
    CPIDAlgorithm algorithm;
    algorithm.setParameters(parameters);
    return algorithm;
}

} // namespace

TEST(PIDAlgorithm, ProportionalActionIsLimited)
{
    CPIDParameters parameters = proportional();
    parameters.setK(2);
    parameters.setMinU(-10);
    parameters.setMaxU(10);
    CPIDAlgorithm algorithm = with(parameters);
    EXPECT_EQ(algorithm.calculate(1, 4), 6.0);
    EXPECT_EQ(algorithm.calculate(0, 100), 10.0);
    EXPECT_EQ(algorithm.calculate(0, -100), -10.0);
}

TEST(PIDAlgorithm, DefaultParametersGiveZero)
{
    CPIDAlgorithm algorithm;
    EXPECT_EQ(algorithm.calculate(3, 50), 0.0);
    EXPECT_EQ(algorithm.parameters().data(), std::vector<double>(10, 0.0));
}

TEST(PIDAlgorithm, ErrorReachesTheIntegralOneStepLater)
{
    CPIDParameters parameters = proportional();
    parameters.setTi(1);
    CPIDAlgorithm algorithm = with(parameters);
    EXPECT_EQ(algorithm.calculate(0, 1), 1.0);
    EXPECT_EQ(algorithm.calculate(0, 1), 1.0 + 0.1);
    EXPECT_EQ(algorithm.calculate(0, 1), 1.0 + (0.1 + 0.1));
}

TEST(PIDAlgorithm, AntiWindupPullsTheIntegralBackWhileLimited)
{
    CPIDParameters parameters = proportional();
    parameters.setTi(1); // Tt = 0.8
    parameters.setMaxU(0.5);
    CPIDAlgorithm algorithm = with(parameters);
    EXPECT_EQ(algorithm.calculate(0, 1), 0.5);
    const double integral = (1 * 0.1 / 1.0) * 1.0 + (0.1 / 0.8) * (0.5 - 1.0);
    EXPECT_EQ(algorithm.calculate(0, 0), integral) << "with no error only the integral is left";
}

TEST(PIDAlgorithm, StoredTrackingTimeReplacesTheDefault)
{
    CPIDParameters parameters = proportional();
    parameters.setTi(1);
    parameters.setTt(2);
    parameters.setMaxU(0.5);
    CPIDAlgorithm algorithm = with(parameters);
    algorithm.calculate(0, 1);
    EXPECT_EQ(algorithm.calculate(0, 0), 0.1 + (0.1 / 2.0) * -0.5);
}

TEST(PIDAlgorithm, WithoutTiTheIntegralIsKept)
{
    CPIDParameters parameters = proportional();
    parameters.setTi(1);
    CPIDAlgorithm algorithm = with(parameters);
    algorithm.calculate(0, 1); // I = 0.1
    algorithm.parameters().setTi(0);
    algorithm.calculate(0, 5);
    EXPECT_EQ(algorithm.calculate(0, 0), 0.1);
}

TEST(PIDAlgorithm, DerivativeActsOnTheMeasurement)
{
    CPIDParameters parameters = proportional();
    parameters.setTd(1);
    parameters.setDerivativeGainLimit(1000);
    CPIDAlgorithm algorithm = with(parameters);
    EXPECT_EQ(algorithm.calculate(2, 2), -(1.0 * 1.0 / 0.1) * 2.0) << "first step: against 0";
    EXPECT_EQ(algorithm.calculate(2, 50), 48.0) << "a step of the set point does not kick";
    EXPECT_EQ(algorithm.calculate(3, 3), -10.0);
}

TEST(PIDAlgorithm, DerivativeIsLimitedOnBothSides)
{
    CPIDParameters parameters = proportional();
    parameters.setTd(1);
    parameters.setDerivativeGainLimit(7);
    CPIDAlgorithm algorithm = with(parameters);
    EXPECT_EQ(algorithm.calculate(2, 2), -7.0);
    EXPECT_EQ(algorithm.calculate(0, 0), 7.0);
    EXPECT_EQ(algorithm.calculate(0.5, 0.5), -5.0);
}

TEST(PIDAlgorithm, DerivativeLimitOfZeroSwitchesTheDerivativeOff)
{
    CPIDParameters parameters = proportional();
    parameters.setTd(1);
    CPIDAlgorithm algorithm = with(parameters);
    EXPECT_EQ(algorithm.calculate(2, 2), 0.0);
    EXPECT_EQ(algorithm.calculate(-8, -8), 0.0);
}

TEST(PIDAlgorithm, DerivativeLimitAppliesWithoutTdToo)
{
    CPIDParameters parameters = proportional();
    parameters.setDerivativeGainLimit(-3); // |0| > -3, and 0 >= 0 takes the limit itself
    CPIDAlgorithm algorithm = with(parameters);
    EXPECT_EQ(algorithm.calculate(2, 2), -3.0);
}

TEST(PIDAlgorithm, UpperLimitWinsOverALargerLowerLimit)
{
    CPIDParameters parameters = proportional();
    parameters.setMinU(10);
    parameters.setMaxU(-10);
    CPIDAlgorithm algorithm = with(parameters);
    EXPECT_EQ(algorithm.calculate(0, 0), -10.0);
    EXPECT_EQ(algorithm.calculate(0, -50), 10.0);
    EXPECT_EQ(algorithm.calculate(0, 50), -10.0);
}

TEST(PIDAlgorithm, TermsAreAddedDerivativeFirst)
{
    CPIDParameters parameters = proportional();
    parameters.setMinU(-1e300);
    parameters.setMaxU(1e300);
    parameters.setDerivativeGainLimit(1e300);
    parameters.setTd(0.1);
    parameters.setTi(0.1);
    CPIDAlgorithm algorithm = with(parameters);
    algorithm.calculate(0, 1); // I = 1
    // D = -1e16, P = 1e16 + 0, I = 1: only (D + P) + I keeps the 1
    EXPECT_EQ(algorithm.calculate(1e16, 2e16), 1.0);
}

TEST(PIDAlgorithm, SampleTimeOverrideStaysInForce)
{
    CPIDParameters parameters = proportional();
    parameters.setTi(1);
    CPIDAlgorithm algorithm = with(parameters);
    EXPECT_EQ(algorithm.calculate(0, 1, 50), 1.0);
    EXPECT_EQ(algorithm.calculate(0, 1), 1.0 + 0.05);
    EXPECT_EQ(algorithm.calculate(0, 0), 0.05 + 0.05) << "both steps counted 0.05 s";
    algorithm.calculate(0, 1, 0); // back to 0.1 s
    EXPECT_EQ(algorithm.calculate(0, 0), 0.1 + (0.05 + 0.05));
}

TEST(PIDAlgorithm, SampleTimeOverrideHasNoLowerBound)
{
    CPIDParameters parameters = proportional();
    parameters.setTi(1);
    CPIDAlgorithm algorithm = with(parameters);
    algorithm.calculate(0, 1, 5);
    EXPECT_EQ(algorithm.calculate(0, 0), 0.005);
}

TEST(PIDAlgorithm, ParametersSampleTimeHasALowerBound)
{
    CPIDParameters parameters = proportional();
    parameters.setTi(1);
    parameters.setSampleTime(0);
    CPIDAlgorithm algorithm = with(parameters);
    algorithm.calculate(0, 1);
    EXPECT_EQ(algorithm.calculate(0, 0), 0.02);
}

TEST(PIDAlgorithm, SameParametersKeepTheIntegral)
{
    CPIDParameters parameters = proportional();
    parameters.setTi(1);
    CPIDAlgorithm algorithm = with(parameters);
    algorithm.calculate(0, 1); // I = 0.1
    CPIDParameters renamed = parameters;
    renamed.setName("other");
    algorithm.setParameters(renamed);
    EXPECT_EQ(algorithm.parameters().name(), "P") << "not even the name is taken over";
    EXPECT_EQ(algorithm.calculate(0, 0), 0.1);
}

TEST(PIDAlgorithm, AnyChangedParameterResetsTheIntegral)
{
    for (int index = 0; index < 10; ++index) {
        CPIDParameters parameters = proportional();
        parameters.setTi(1);
        parameters.setImmutable(true);
        CPIDAlgorithm algorithm = with(parameters);
        algorithm.calculate(0, 1);
        CPIDParameters changed = parameters;
        changed.setValue(index, parameters.data()[static_cast<std::size_t>(index)] + 0.5);
        algorithm.setParameters(changed);
        EXPECT_EQ(algorithm.calculate(0, 0), 0.0) << index;
        EXPECT_TRUE(algorithm.parameters().isImmutable());
    }
}

TEST(PIDAlgorithm, NaNAmongTheParametersCountsAsAChange)
{
    CPIDParameters parameters = proportional();
    parameters.setTi(1);
    parameters.setInitialSetpoint(std::nan(""));
    CPIDAlgorithm algorithm = with(parameters);
    algorithm.calculate(0, 1);
    algorithm.setParameters(parameters);
    EXPECT_EQ(algorithm.calculate(0, 0), 0.0);
}

TEST(PIDAlgorithm, SetOfAnotherSizeIsAChange)
{
    CPIDParameters parameters = proportional();
    parameters.setTi(1);
    CPIDAlgorithm algorithm = with(parameters);
    algorithm.calculate(0, 1);
    std::vector<double> longer = parameters.data();
    longer.push_back(0.0);
    algorithm.setParameters(CPIDParameters(longer, "longer"));
    EXPECT_EQ(algorithm.parameters().data().size(), 11u);
    EXPECT_EQ(algorithm.calculate(0, 0), 0.0);
}

TEST(PIDAlgorithm, ChangeThroughTheReferenceKeepsTheIntegral)
{
    CPIDParameters parameters = proportional();
    parameters.setTi(1);
    CPIDAlgorithm algorithm = with(parameters);
    algorithm.calculate(0, 1);
    algorithm.parameters().setK(3);
    EXPECT_EQ(std::as_const(algorithm).parameters().getK(), 3.0);
    EXPECT_EQ(algorithm.calculate(0, 2), 3.0 * 2.0 + 0.1);
}

TEST(PIDAlgorithm, BumplessChangeKeepsPPlusIOfTheLastError)
{
    CPIDParameters parameters = proportional();
    parameters.setK(3);
    CPIDAlgorithm algorithm = with(parameters);
    algorithm.calculate(0, 2); // P = 6, I = 0
    parameters.setK(1);
    algorithm.setParameters(parameters);
    (algorithm.*bumplessParameterChange())(); // I = (3 - 1) 2
    EXPECT_EQ(algorithm.calculate(0, 2), 6.0);
}

TEST(PIDAlgorithm, CopiesGoOnFromTheSameState)
{
    CPIDParameters parameters = proportional();
    parameters.setTi(1);
    CPIDAlgorithm algorithm = with(parameters);
    algorithm.calculate(0, 1, 50);
    CPIDAlgorithm copy(algorithm);
    CPIDAlgorithm assigned;
    assigned = algorithm;
    const double next = algorithm.calculate(0.25, 1);
    EXPECT_EQ(copy.calculate(0.25, 1), next);
    EXPECT_EQ(assigned.calculate(0.25, 1), next);
    EXPECT_EQ(copy.calculate(0, 0), algorithm.calculate(0, 0));
}
