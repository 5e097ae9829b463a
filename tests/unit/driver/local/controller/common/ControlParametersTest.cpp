#include "driver/local/controller/common/ControlParameters.h"

#include "tests/support/VirtualSlot.h"

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>

#include <limits>

using namespace Rvl;
using boost::property_tree::ptree;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ControlParameters, BeginEmptyNamelessAndMutable)
{
    const CControlParameters parameters;
    EXPECT_THAT(parameters.data(), IsEmpty());
    EXPECT_EQ(parameters.name(), "");
    EXPECT_FALSE(parameters.isImmutable());
    EXPECT_EQ(parameters.getDisabledU(), 0.0);
}

TEST(ControlParameters, TakeNameAndData)
{
    const CControlParameters parameters("P", {1.0, 2.0});
    EXPECT_THAT(parameters.data(), ElementsAre(1.0, 2.0));
    EXPECT_EQ(parameters.name(), "P");
    EXPECT_FALSE(parameters.isImmutable());
}

TEST(ControlParameters, FromConfigurationAreImmutableUnlessUnprotected)
{
    ptree tree;
    tree.put("<xmlattr>.Name", "P");
    EXPECT_TRUE(CControlParameters(tree).isImmutable());
    EXPECT_EQ(CControlParameters(tree).name(), "P");
    EXPECT_THAT(CControlParameters(tree).data(), IsEmpty());
    tree.put("<xmlattr>.Protected", "false");
    EXPECT_FALSE(CControlParameters(tree).isImmutable());
    tree.put("<xmlattr>.Protected", "true");
    EXPECT_TRUE(CControlParameters(tree).isImmutable());
    tree.put("<xmlattr>.Protected", "0");
    EXPECT_FALSE(CControlParameters(tree).isImmutable());
}

TEST(ControlParameters, UnreadableProtectionCountsAsAbsent)
{
    ptree tree;
    tree.put("<xmlattr>.Name", "P");
    tree.put("<xmlattr>.Protected", "perhaps");
    EXPECT_TRUE(CControlParameters(tree).isImmutable());
}

TEST(ControlParameters, MissingNameThrowsBadPath)
{
    ptree tree;
    tree.put("<xmlattr>.Protected", "false");
    try {
        CControlParameters parameters(tree);
        FAIL() << "no exception";
    } catch (const boost::property_tree::ptree_bad_path& error) {
        EXPECT_STREQ(error.what(), "No such node (<xmlattr>.Name)");
    }
}

TEST(ControlParameters, AreValidWithANameAndAValueOtherThanZero)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(CControlParameters("P", {}).isValid());
    EXPECT_FALSE(CControlParameters("P", {0.0, 0.0, 0.0}).isValid());
    EXPECT_FALSE(CControlParameters("P", {0.0, -0.0}).isValid());
    EXPECT_FALSE(CControlParameters("", {1.0}).isValid());
    EXPECT_TRUE(CControlParameters("P", {0.0, 2.0}).isValid());
    EXPECT_TRUE(CControlParameters("P", {0.0, nan}).isValid());
}

TEST(ControlParameters, CopyCarriesDataNameAndFlag)
{
    CControlParameters original("P", {1.0});
    original.setImmutable(true);
    const CControlParameters copy(original);
    EXPECT_EQ(copy.name(), "P");
    EXPECT_THAT(copy.data(), ElementsAre(1.0));
    EXPECT_TRUE(copy.isImmutable());
}

TEST(ControlParameters, AssignmentCarriesTheFlagAndIsNotHinderedByIt)
{
    CControlParameters immutable("I", {1.0});
    immutable.setImmutable(true);
    CControlParameters target("M", {2.0, 3.0});
    target = immutable;
    EXPECT_TRUE(target.isImmutable());
    EXPECT_EQ(target.name(), "I");
    EXPECT_THAT(target.data(), ElementsAre(1.0));
    target = CControlParameters("M", {2.0});
    EXPECT_FALSE(target.isImmutable());
    EXPECT_EQ(target.name(), "M");
}

TEST(ControlParameters, SelfAssignmentChangesNothing)
{
    CControlParameters parameters("P", {1.0, 2.0});
    parameters.setImmutable(true);
    const CControlParameters& same = parameters;
    parameters = same;
    parameters.setName(parameters.name());
    parameters.setData(parameters.data());
    EXPECT_EQ(parameters.name(), "P");
    EXPECT_THAT(parameters.data(), ElementsAre(1.0, 2.0));
    EXPECT_TRUE(parameters.isImmutable());
}

TEST(ControlParameters, CanBeChangedThoughImmutable)
{
    CControlParameters parameters("P", {1.0, 2.0});
    parameters.setImmutable(true);
    parameters.setValue(1, 5.0);
    EXPECT_THAT(parameters.data(), ElementsAre(1.0, 5.0));
    parameters.setData({7.0, 8.0, 9.0});
    parameters.setName("Q");
    EXPECT_THAT(parameters.data(), ElementsAre(7.0, 8.0, 9.0));
    EXPECT_EQ(parameters.name(), "Q");
    parameters.setImmutable(false);
    EXPECT_FALSE(parameters.isImmutable());
}

TEST(ControlParameters, DisabledValueFollowsTheDestructorInTheTable)
{
    EXPECT_EQ(Rvl::Test::virtualSlot(&CControlParameters::getDisabledU), 2u);
}
