#include "common/TreeValues.h"

#include "tests/support/ForeignLocale.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

namespace {

boost::property_tree::ptree treeOf(const char* value)
{
    boost::property_tree::ptree tree;
    tree.put("Value", value);
    return tree;
}

} // namespace

TEST(TreeValues, HaveADecimalPointWhateverTheLocale)
{
    const CForeignLocale foreign;
    ASSERT_EQ(40250.0, treeOf("40.250").get<double>("Value")) << "the locale would change it";
    EXPECT_EQ(40.25, treeValue<double>(treeOf("40.250"), "Value"));
    EXPECT_EQ(40.25, treeValue(treeOf("40.250"), "Value", 1.0));
    EXPECT_EQ(40.25, treeValueIfThere(treeOf("40.250"), "Value", 1.0));
    EXPECT_EQ(40.25, optionalTreeValue<double>(treeOf("40.250"), "Value").value_or(1.0));
    EXPECT_THROW(treeValue<int>(treeOf("1.000"), "Value"), boost::property_tree::ptree_bad_data);
    EXPECT_TRUE(treeValue(treeOf("true"), "Value", false));
}

TEST(TreeValues, ThatAreNotThereOrOfAnotherTypeAreReportedAsPtreeDoes)
{
    EXPECT_THROW(treeValue<double>(treeOf("1"), "Other"), boost::property_tree::ptree_bad_path);
    EXPECT_THROW(treeValue<double>(treeOf("x"), "Value"), boost::property_tree::ptree_bad_data);
    EXPECT_EQ(7.0, treeValue(treeOf("x"), "Value", 7.0));
    EXPECT_EQ(7.0, treeValue(treeOf("1"), "Other", 7.0));
    EXPECT_EQ(7.0, treeValueIfThere(treeOf("1"), "Other", 7.0));
    EXPECT_THROW(treeValueIfThere(treeOf("x"), "Value", 7.0), boost::property_tree::ptree_bad_data);
    EXPECT_FALSE(optionalTreeValue<int>(treeOf("x"), "Value"));
    EXPECT_FALSE(optionalTreeValue<int>(treeOf("1"), "Other"));
}

} // namespace Rvl::Test
