#include "driver/local/controller/controlloopoutput/AbstractTwoQuadrantLoopOut.h"

#include "tests/support/FakeDeviceChannels.h"
#include "tests/unit/driver/local/controller/ElementTesting.h"

#include <gmock/gmock.h>

#include <cmath>
#include <locale>
#include <stdexcept>
#include <string>

using namespace Rvl::Test;
using Rvl::CAbstractTwoQuadrantLoopOut;
using Rvl::IDigitalOutInterface;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Notes the magnitude in the journal.
class TwoQuadrant : public CAbstractTwoQuadrantLoopOut
{
public:
    TwoQuadrant(const boost::property_tree::ptree& tree, Journal& journal)
        : CAbstractTwoQuadrantLoopOut(tree), journal_(journal)
    {}
    void writeOuputChannel(double magnitude) override
    {
        std::ostringstream entry;
        entry << "magnitude " << magnitude;
        journal_.note(entry.str());
    }
    using CAbstractTwoQuadrantLoopOut::intFromHexString;

private:
    Journal& journal_;
};

boost::property_tree::ptree configuration(const std::string& negative, const std::string& positive)
{
    return node({{"DigitalOut.<xmlattr>.Device", "Port"},
                 {"DigitalOut.<xmlattr>.Negative", negative},
                 {"DigitalOut.<xmlattr>.Positive", positive}});
}

} // namespace

class AbstractTwoQuadrantLoopOut : public testing::Test
{
protected:
    Journal journal;
    FakeDigitalPort port{"Port", journal};
};

TEST_F(AbstractTwoQuadrantLoopOut, PositiveValueSetsThePositivePatternAndThenTheMagnitude)
{
    TwoQuadrant(configuration("1", "2"), journal).write(3.5);
    EXPECT_THAT(journal.entries(), ElementsAre("Port 3 2", "magnitude 3.5"));
}

TEST_F(AbstractTwoQuadrantLoopOut, NegativeValueSetsTheNegativePatternAndThenTheMagnitude)
{
    TwoQuadrant(configuration("1", "2"), journal).write(-3.5);
    EXPECT_THAT(journal.entries(), ElementsAre("Port 3 1", "magnitude 3.5"));
}

TEST_F(AbstractTwoQuadrantLoopOut, ZeroOfEitherSignSetsTheNegativePattern)
{
    TwoQuadrant(configuration("1", "2"), journal).write(0.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Port 3 1", "magnitude 0"));
    journal.clear();
    TwoQuadrant(configuration("1", "2"), journal).write(-0.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Port 3 1", "magnitude 0"));
}

TEST_F(AbstractTwoQuadrantLoopOut, NaNSetsTheNegativePattern)
{
    TwoQuadrant(configuration("1", "2"), journal).write(std::nan(""));
    EXPECT_THAT(journal.entries(), ElementsAre("Port 3 1", "magnitude nan"));
}

TEST_F(AbstractTwoQuadrantLoopOut, SameDirectionWritesThePortOnceAndEveryMagnitude)
{
    TwoQuadrant output(configuration("1", "2"), journal);
    output.write(1.0);
    output.write(2.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Port 3 2", "magnitude 1", "magnitude 2"));
}

TEST_F(AbstractTwoQuadrantLoopOut, EveryChangeOfDirectionWritesThePort)
{
    TwoQuadrant output(configuration("1", "2"), journal);
    output.write(1.0);
    output.write(-1.0);
    output.write(1.0);
    EXPECT_THAT(journal.entries(),
                ElementsAre("Port 3 2", "magnitude 1", "Port 3 1", "magnitude 1", "Port 3 2", "magnitude 1"));
}

TEST_F(AbstractTwoQuadrantLoopOut, EqualPatternsWriteThePortOnceAndNeverAgain)
{
    TwoQuadrant output(configuration("4", "4"), journal);
    output.write(1.0);
    output.write(-2.0);
    output.write(3.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Port 4 4", "magnitude 1", "magnitude 2", "magnitude 3"));
}

TEST_F(AbstractTwoQuadrantLoopOut, FirstValueWritesThePortEvenForAPatternOfZero)
{
    TwoQuadrant(configuration("0", "1"), journal).write(-1.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Port 1 0", "magnitude 1"));
}

TEST_F(AbstractTwoQuadrantLoopOut, FailedPortWriteIsNotRetried)
{
    TwoQuadrant output(configuration("1", "2"), journal);
    port.onWrite = [] { throw std::runtime_error("the port is offline"); };
    EXPECT_THROW(output.write(1.0), std::runtime_error);
    EXPECT_THAT(journal.entries(), ElementsAre("Port 3 2")) << "no magnitude without a direction";
    output.write(2.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Port 3 2", "magnitude 2"));
}

TEST_F(AbstractTwoQuadrantLoopOut, ConstructionInitEnableAndDisableTouchNothing)
{
    TwoQuadrant output(configuration("1", "2"), journal);
    output.init();
    output.setEnabled(true);
    output.setEnabled(false);
    EXPECT_THAT(journal.entries(), IsEmpty());
}

TEST_F(AbstractTwoQuadrantLoopOut, PatternsAreHexadecimal)
{
    TwoQuadrant(configuration("0x10", "FF00"), journal).write(1.0);
    EXPECT_THAT(journal.entries(), ElementsAre("Port 65296 65280", "magnitude 1"));
}

TEST_F(AbstractTwoQuadrantLoopOut, HexadecimalTexts)
{
    EXPECT_EQ(16u, TwoQuadrant::intFromHexString("0x10"));
    EXPECT_EQ(16u, TwoQuadrant::intFromHexString("0X10"));
    EXPECT_EQ(16u, TwoQuadrant::intFromHexString("10"));
    EXPECT_EQ(0u, TwoQuadrant::intFromHexString("G1"));
    EXPECT_EQ(0u, TwoQuadrant::intFromHexString(""));
    EXPECT_EQ(255u, TwoQuadrant::intFromHexString(" ff"));
    EXPECT_EQ(26u, TwoQuadrant::intFromHexString("1Ag3"));
    EXPECT_EQ(4294967295u, TwoQuadrant::intFromHexString("FFFFFFFF"));
}

TEST_F(AbstractTwoQuadrantLoopOut, HexadecimalTextsMeanTheSameInEveryLocale)
{
    struct SGrouped : std::numpunct<char>
    {
        char do_thousands_sep() const override { return ','; }
        std::string do_grouping() const override { return "\1"; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new SGrouped));
    const unsigned int number = TwoQuadrant::intFromHexString("1,F");
    std::locale::global(before);
    EXPECT_EQ(1u, number);
}

TEST_F(AbstractTwoQuadrantLoopOut, KeysAreReadInOrder)
{
    const auto faultWithout = [this](const char* key) {
        auto tree = configuration("1", "2");
        tree.get_child("DigitalOut.<xmlattr>").erase(key);
        return faultOf([&] { TwoQuadrant(tree, journal); });
    };
    EXPECT_EQ("ptree_bad_path: No such node (DigitalOut.<xmlattr>.Device)", faultWithout("Device"));
    EXPECT_EQ("ptree_bad_path: No such node (DigitalOut.<xmlattr>.Negative)", faultWithout("Negative"));
    EXPECT_EQ("ptree_bad_path: No such node (DigitalOut.<xmlattr>.Positive)", faultWithout("Positive"));
    EXPECT_EQ(notRegistered("port", IDigitalOutInterface::NameServer), faultOf([&] {
                  TwoQuadrant(node({{"DigitalOut.<xmlattr>.Device", "port"}}), journal);
              }))
        << "the port is looked up before the patterns are read";
    EXPECT_EQ("ptree_bad_path: No such node (DigitalOut.<xmlattr>.Negative)", faultOf([&] {
                  TwoQuadrant(node({{"DigitalOut.<xmlattr>.Device", "Port"}}), journal);
              }));
}
