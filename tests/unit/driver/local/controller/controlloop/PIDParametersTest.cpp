#include "driver/local/controller/controlloop/PIDParameters.h"

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <string>

using namespace Rvl;
using boost::property_tree::ptree;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

ptree completeParameters()
{
    ptree tree;
    tree.put("<xmlattr>.Name", "heater");
    tree.put("<xmlattr>.K", "1.5");
    tree.put("<xmlattr>.Ti", "4");
    tree.put("<xmlattr>.Td", "0.25");
    tree.put("<xmlattr>.DerivativeGainLimit", "10");
    tree.put("<xmlattr>.Tt", "2");
    tree.put("<xmlattr>.MaxU", "100");
    tree.put("<xmlattr>.MinU", "-100");
    tree.put("<xmlattr>.DisabledU", "-5");
    tree.put("<xmlattr>.Setpoint", "37.5");
    tree.put("<xmlattr>.SampleTime_ms", "100.9");
    return tree;
}

} // namespace

TEST(PIDParameters, BeginWithTenZeros)
{
    const CPIDParameters parameters;
    EXPECT_THAT(parameters.data(), SizeIs(10));
    EXPECT_THAT(parameters.data(), Each(0.0));
    EXPECT_EQ(parameters.name(), "");
    EXPECT_FALSE(parameters.isImmutable());
    EXPECT_EQ(parameters.sampleTime_ms(), 20);
}

TEST(PIDParameters, NamedBeginWithTheSmallestSampleTime)
{
    const CPIDParameters parameters("P");
    EXPECT_THAT(parameters.data(), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 20.0));
    EXPECT_EQ(parameters.name(), "P");
    EXPECT_FALSE(parameters.isImmutable());
}

TEST(PIDParameters, TakeAnyVectorAsItIs)
{
    const CPIDParameters parameters({1.0, 2.0}, "P");
    EXPECT_THAT(parameters.data(), ElementsAre(1.0, 2.0));
    EXPECT_EQ(parameters.name(), "P");
    EXPECT_FALSE(parameters.isImmutable());
}

TEST(PIDParameters, ConfigurationFillsTheVectorInOrder)
{
    const CPIDParameters parameters(completeParameters());
    EXPECT_THAT(parameters.data(), ElementsAre(1.5, 4.0, 0.25, 10.0, 2.0, 100.0, -100.0, -5.0, 37.5, 100.0));
    EXPECT_EQ(parameters.name(), "heater");
    EXPECT_TRUE(parameters.isImmutable());
}

TEST(PIDParameters, GettersReadTheirEntries)
{
    const CPIDParameters parameters({1, 2, 3, 4, 5, 6, 7, 8, 9, 30}, "P");
    EXPECT_EQ(parameters.getK(), 1.0);
    EXPECT_EQ(parameters.getTi(), 2.0);
    EXPECT_EQ(parameters.getTd(), 3.0);
    EXPECT_EQ(parameters.getDerivativeGainLimit(), 4.0);
    EXPECT_EQ(parameters.getTt(), 5.0);
    EXPECT_EQ(parameters.getMaxU(), 6.0);
    EXPECT_EQ(parameters.getMinU(), 7.0);
    EXPECT_EQ(parameters.getDisabledU(), 8.0);
    EXPECT_EQ(static_cast<const CControlParameters&>(parameters).getDisabledU(), 8.0);
    EXPECT_EQ(parameters.initialSetpoint(), 9.0);
    EXPECT_EQ(parameters.sampleTime_ms(), 30);
    EXPECT_EQ(parameters.sampleTime_s(), 0.03);
}

TEST(PIDParameters, SettersWriteTheirEntriesThoughImmutable)
{
    CPIDParameters parameters;
    parameters.setImmutable(true);
    parameters.setK(1);
    parameters.setTi(2);
    parameters.setTd(3);
    parameters.setDerivativeGainLimit(4);
    parameters.setTt(5);
    parameters.setMaxU(6);
    parameters.setMinU(7);
    parameters.setDisabledU(8);
    parameters.setInitialSetpoint(9);
    parameters.setSampleTime(5);
    EXPECT_THAT(parameters.data(), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 5.0));
}

TEST(PIDParameters, TrackingTimeDefaultsToFourFifthsOfTi)
{
    ptree tree = completeParameters();
    tree.get_child("<xmlattr>").erase("Tt");
    EXPECT_EQ(CPIDParameters(tree).getTt(), 3.2);
    tree.put("<xmlattr>.Ti", "0");
    EXPECT_EQ(CPIDParameters(tree).getTt(), 0.0);
}

TEST(PIDParameters, StoredTrackingTimeStaysWithoutIntegralAction)
{
    CPIDParameters parameters;
    parameters.setTt(7.0);
    EXPECT_EQ(parameters.getTt(), 7.0);
}

TEST(PIDParameters, UnreadableTrackingTimeMeansZero)
{
    ptree tree = completeParameters();
    tree.put("<xmlattr>.Tt", "soon");
    EXPECT_EQ(CPIDParameters(tree).data()[4], 0.0);
}

TEST(PIDParameters, SampleTimeHasALowerBoundWhenRead)
{
    ptree tree = completeParameters();
    tree.put("<xmlattr>.SampleTime_ms", "10");
    const CPIDParameters parameters(tree);
    EXPECT_EQ(parameters.data()[9], 10.0);
    EXPECT_EQ(parameters.sampleTime_ms(), 20);
    EXPECT_EQ(parameters.sampleTime_s(), 0.02);
    EXPECT_EQ(CPIDParameters::MinimumSampleTime, 20);
}

TEST(PIDParameters, SampleTimeLosesItsFraction)
{
    EXPECT_EQ(CPIDParameters(completeParameters()).sampleTime_ms(), 100);
    CPIDParameters parameters;
    parameters.setValue(9, 100.9);
    EXPECT_EQ(parameters.sampleTime_ms(), 100);
    parameters.setValue(9, 20.999);
    EXPECT_EQ(parameters.sampleTime_ms(), 20);
}

TEST(PIDParameters, SampleTimeBeyondAnIntIsBoundedToIt)
{
    CPIDParameters parameters;
    parameters.setValue(9, 1e300);
    EXPECT_EQ(parameters.sampleTime_ms(), std::numeric_limits<int>::max());
    parameters.setValue(9, -1e300);
    EXPECT_EQ(parameters.sampleTime_ms(), 20);
    parameters.setValue(9, std::nan(""));
    EXPECT_EQ(parameters.sampleTime_ms(), 20);
}

TEST(PIDParameters, SampleTimeInSecondsIsStoredInWholeMilliseconds)
{
    CPIDParameters parameters;
    parameters.setSampleTimeInSeconds(0.0255);
    EXPECT_EQ(parameters.data()[9], 25.0);
    parameters.setSampleTimeInSeconds(1.0);
    EXPECT_EQ(parameters.data()[9], 1000.0);
}

TEST(PIDParameters, ProportionalBandIsAHundredOverK)
{
    CPIDParameters parameters;
    parameters.setProportionalBand(50);
    EXPECT_EQ(parameters.getK(), 2.0);
    parameters.setK(4);
    EXPECT_EQ(parameters.getProportionalBand(), 25.0);
    parameters.setK(0);
    EXPECT_EQ(parameters.getProportionalBand(), std::numeric_limits<double>::infinity());
}

TEST(PIDParameters, EveryAttributeButTtIsRequired)
{
    for (const std::string key :
         {"K", "Td", "Ti", "DerivativeGainLimit", "MinU", "MaxU", "DisabledU", "SampleTime_ms", "Setpoint"}) {
        ptree tree = completeParameters();
        tree.get_child("<xmlattr>").erase(key);
        try {
            CPIDParameters parameters(tree);
            ADD_FAILURE() << key << " may be absent";
        } catch (const boost::property_tree::ptree_bad_path& error) {
            EXPECT_EQ(error.what(), "No such node (<xmlattr>." + key + ")");
        }
        tree.put("<xmlattr>." + key, "much");
        EXPECT_THROW(CPIDParameters parameters(tree), boost::property_tree::ptree_bad_data) << key;
    }
}

TEST(PIDParameters, FirstMissingAttributeInReadingOrderIsReported)
{
    ptree tree;
    for (const std::string key : {"Name", "K", "Td", "Ti", "DerivativeGainLimit", "MinU", "MaxU", "DisabledU",
                                  "SampleTime_ms", "Setpoint"}) {
        try {
            CPIDParameters parameters(tree);
            ADD_FAILURE() << key << " may be absent";
        } catch (const boost::property_tree::ptree_bad_path& error) {
            EXPECT_EQ(error.what(), "No such node (<xmlattr>." + key + ")");
        }
        tree.put("<xmlattr>." + key, "1");
    }
    EXPECT_NO_THROW(CPIDParameters parameters(tree));
}

TEST(PIDParameters, NameIsRequired)
{
    ptree tree = completeParameters();
    tree.get_child("<xmlattr>").erase("Name");
    EXPECT_THROW(CPIDParameters parameters(tree), boost::property_tree::ptree_bad_path);
}

TEST(PIDParameters, InconsistentValuesAreTaken)
{
    ptree tree = completeParameters();
    tree.put("<xmlattr>.MinU", "10");
    tree.put("<xmlattr>.MaxU", "-10");
    tree.put("<xmlattr>.Ti", "-1");
    const CPIDParameters parameters(tree);
    EXPECT_EQ(parameters.getMinU(), 10.0);
    EXPECT_EQ(parameters.getMaxU(), -10.0);
    EXPECT_EQ(parameters.getTi(), -1.0);
}

TEST(PIDParameters, CopiesCarryTheFlag)
{
    const CPIDParameters original(completeParameters());
    const CPIDParameters copy(original);
    EXPECT_EQ(copy.data(), original.data());
    EXPECT_TRUE(copy.isImmutable());
    CPIDParameters target;
    target = original;
    EXPECT_EQ(target.data(), original.data());
    EXPECT_TRUE(target.isImmutable());
}
