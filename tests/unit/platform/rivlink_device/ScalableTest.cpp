#include "platform/rivlink_device/Scalable.h"

#include "platform/rivlink_common/ConfigurationException.h"
#include "platform/rivlink_device/LinearScaling.h"
#include "tests/support/VirtualSlot.h"

#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <limits>

using namespace Rvl;
using boost::property_tree::ptree;

namespace {

class CTestScalable : public IScalable
{};

/// Counts itself, so that a test sees when it is released.
class CCountedScaling : public CLinearScaling
{
public:
    explicit CCountedScaling(int& alive) : CLinearScaling(2.0, 1.0, "mV"), alive_(alive) { ++alive_; }
    ~CCountedScaling() override { --alive_; }

private:
    int& alive_;
};

} // namespace

TEST(LinearScaling, ConvertsThereAndBack)
{
    const CLinearScaling scaling(1.8, 32.0, "degF");
    EXPECT_DOUBLE_EQ(212.0, scaling.scaled(100.0));
    EXPECT_DOUBLE_EQ(100.0, scaling.unscaled(212.0));
    EXPECT_EQ("degF", scaling.unit());
}

TEST(LinearScaling, RefusesWhatHasNoWayBack)
{
    EXPECT_THROW(CLinearScaling(0.0, 1.0, ""), CConfigurationException);
    EXPECT_THROW(CLinearScaling(std::numeric_limits<double>::quiet_NaN(), 1.0, ""), CConfigurationException);
    EXPECT_THROW(CLinearScaling(1.0, std::numeric_limits<double>::infinity(), ""), CConfigurationException);
}

TEST(LinearScaling, ReadsItsNode)
{
    ptree tree;
    EXPECT_DOUBLE_EQ(5.0, CLinearScaling(tree).scaled(5.0));
    EXPECT_EQ("", CLinearScaling(tree).unit());
    tree.put("<xmlattr>.Factor", "2");
    tree.put("<xmlattr>.Offset", "-1");
    tree.put("<xmlattr>.Unit", "bar");
    EXPECT_DOUBLE_EQ(9.0, CLinearScaling(tree).scaled(5.0));
    EXPECT_EQ("bar", CLinearScaling(tree).unit());
    tree.put("<xmlattr>.Factor", "two");
    EXPECT_THROW(CLinearScaling{tree}, boost::property_tree::ptree_bad_data);
}

TEST(Scalable, WithoutScalingValuesPass)
{
    CTestScalable scalable;
    EXPECT_EQ(nullptr, scalable.scaling());
    EXPECT_DOUBLE_EQ(5.0, scalable.getScaledValue(5.0));
    EXPECT_DOUBLE_EQ(5.0, scalable.getUnscaledValue(5.0));
    EXPECT_EQ("", scalable.unit());
    scalable.resetDefaultScaling();
    EXPECT_EQ(nullptr, scalable.scaling());
}

TEST(Scalable, OwnsItsScaling)
{
    int alive = 0;
    {
        CTestScalable scalable;
        scalable.setScaling(new CCountedScaling(alive));
        EXPECT_DOUBLE_EQ(7.0, scalable.getScaledValue(3.0));
        EXPECT_DOUBLE_EQ(3.0, scalable.getUnscaledValue(7.0));
        EXPECT_EQ("mV", scalable.unit());
        scalable.setScaling(new CCountedScaling(alive));
        scalable.setScaling(new CCountedScaling(alive));
        EXPECT_EQ(2, alive) << "the default and the one in force";
    }
    EXPECT_EQ(0, alive);
}

TEST(Scalable, CanBeSwitchedOffAndOn)
{
    CTestScalable scalable;
    scalable.setScaling(new CLinearScaling(2.0, 0.0, ""));
    scalable.setSwScalingOn(false);
    EXPECT_DOUBLE_EQ(3.0, scalable.getScaledValue(3.0));
    EXPECT_DOUBLE_EQ(3.0, scalable.getUnscaledValue(3.0));
    EXPECT_NE(nullptr, scalable.scaling());
    scalable.setSwScalingOn(true);
    EXPECT_DOUBLE_EQ(6.0, scalable.getScaledValue(3.0));
}

TEST(Scalable, FirstScalingIsTheDefault)
{
    CTestScalable scalable;
    scalable.setScaling(new CLinearScaling(2.0, 0.0, "first"));
    scalable.setScaling(new CLinearScaling(3.0, 0.0, "second"));
    EXPECT_DOUBLE_EQ(3.0, scalable.getScaledValue(1.0));
    scalable.removeScaling();
    EXPECT_DOUBLE_EQ(1.0, scalable.getScaledValue(1.0));
    scalable.resetDefaultScaling();
    EXPECT_EQ("first", scalable.unit());
}

TEST(Scalable, OperationsStandInTheirSlots)
{
    using Rvl::Test::virtualSlot;
    EXPECT_EQ(2u, virtualSlot(&IScalable::setScaling)); // after the destructor's two
    EXPECT_EQ(3u, virtualSlot(&IScalable::removeScaling));
    EXPECT_EQ(4u, virtualSlot(&IScalable::scaling));
    EXPECT_EQ(5u, virtualSlot(&IScalable::setSwScalingOn));
    EXPECT_EQ(6u, virtualSlot(&IScalable::resetDefaultScaling));
}
