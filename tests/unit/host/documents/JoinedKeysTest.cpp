#include "host/documents/JoinedKeys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Rvl::Test {

namespace {

using testing::ElementsAre;

/// Two types with one key in common: A requires it, B does not.
class JoinedKeysTest : public testing::Test
{
protected:
    JoinedKeysTest()
    {
        catalogue.addText(R"({"plugin": "p", "types": [
            {"name": "A", "kind": "loop", "keys": [
                {"path": "<xmlattr>.Common", "type": "text", "required": true},
                {"path": "<xmlattr>.OnlyA", "type": "text", "required": true},
                {"path": "Part", "type": "element", "kinds": ["Loop", "Input"], "repeated": true}]},
            {"name": "B", "kind": "loop", "keys": [
                {"path": "<xmlattr>.Common", "type": "text"},
                {"path": "Part", "type": "element", "kinds": ["Loop"]},
                {"path": "Value", "type": "real"}]}]})",
                          "test");
        catalogue.resolve();
        for (const char* name : {"A", "B"}) {
            const STypeDescription* const type = catalogue.find(name);
            nodes.push_back({type, &catalogue.keys(*type)});
        }
    }

    template <class Value> static std::vector<std::string> namesOf(const ByName<Value>& list)
    {
        std::vector<std::string> names;
        for (const auto& entry : list) {
            names.push_back(entry.first);
        }
        return names;
    }

    CTypeCatalogue catalogue;
    JoinedNodes nodes;
};

TEST_F(JoinedKeysTest, AttributesAndChildrenOfAllTypesAreListedOnce)
{
    EXPECT_THAT(namesOf(attributesOf(nodes)), ElementsAre("Common", "OnlyA"));
    EXPECT_THAT(namesOf(childrenOf(nodes)), ElementsAre("Type", "Part", "Value"));
    auto attributes = attributesOf(nodes);
    EXPECT_EQ(valueOf(attributes, "Common").size(), 2U);
    EXPECT_EQ(valueOf(attributes, "OnlyA").size(), 1U);
}

TEST_F(JoinedKeysTest, KeyIsRequiredOnlyWhereEveryTypeRequiresIt)
{
    auto attributes = attributesOf(nodes);
    EXPECT_FALSE(isRequiredByAll(valueOf(attributes, "Common"), 2));
    EXPECT_FALSE(isRequiredByAll(valueOf(attributes, "OnlyA"), 2));
    auto ofA = attributesOf({nodes.front()});
    EXPECT_TRUE(isRequiredByAll(valueOf(ofA, "Common"), 1));
}

TEST_F(JoinedKeysTest, ElementMayRepeatAndHoldWhatOneTypeAllows)
{
    auto children = childrenOf(nodes);
    EXPECT_TRUE(isRepeated(valueOf(children, "Part")));
    EXPECT_FALSE(isRepeated(valueOf(children, "Value")));
    EXPECT_THAT(kindsOf(valueOf(children, "Part")), ElementsAre("Input", "Loop"));
}

TEST_F(JoinedKeysTest, ContentIsSortedByHowItIsMade)
{
    auto children = childrenOf(nodes);
    const SJoinedContent part = contentOf(valueOf(children, "Part"));
    EXPECT_EQ(part.typed.size(), 2U);
    EXPECT_TRUE(part.values.empty());
    EXPECT_FALSE(nameTypeInAttribute(part.typed));
    const SJoinedContent value = contentOf(valueOf(children, "Value"));
    EXPECT_EQ(value.values.size(), 1U);
    EXPECT_TRUE(value.sections.empty());
    EXPECT_EQ(contentOf(nodes).sections.size(), 2U);
}

} // namespace

} // namespace Rvl::Test
