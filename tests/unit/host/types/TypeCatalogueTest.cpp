#include "host/types/TypeCatalogue.h"

#include "host/base/HostException.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

namespace {

std::string messageOf(const std::string& json)
{
    try {
        CTypeCatalogue catalogue;
        catalogue.addText(json, "x.types.json");
        catalogue.resolve();
    } catch (const CHostException& exception) {
        EXPECT_EQ(exception.code(), ExitFailure);
        return exception.what();
    }
    return {};
}

} // namespace

TEST(TypeCatalogueTest, TypeHasTheKeysOfItsBasesFirst)
{
    CTypeCatalogue catalogue;
    catalogue.addText(R"({"plugin": "p", "types": [
        {"name": "T", "kind": "channel", "bases": ["derived"], "provides": ["pump"],
         "keys": [{"path": "B", "type": "integer"}, {"path": "C.<xmlattr>.d", "type": "real", "default": 1.5}]},
        {"name": "derived", "kind": "abstract", "bases": ["base"], "keys": [{"path": "B", "type": "text"}]},
        {"name": "base", "kind": "abstract", "provides": ["analogIn"], "keys": [{"path": "A", "type": "text"}]}
    ]})",
                      "x");
    catalogue.resolve();
    const STypeDescription* const type = catalogue.find("T");
    ASSERT_NE(type, nullptr);
    std::vector<std::string> paths;
    for (const SKeyDescription& key : type->keys) {
        paths.push_back(key.path);
    }
    EXPECT_EQ(paths,
              (std::vector<std::string>{"<xmlattr>.Name", "<xmlattr>.Type", "A", "B", "C.<xmlattr>.d"}));
    EXPECT_EQ(type->keys[3].type, SKeyDescription::Integer);
    EXPECT_EQ(type->keys[4].defaultText, "1.5");
    EXPECT_EQ(type->provides, (std::vector<std::string>{"pump", "analogIn"}));
    EXPECT_EQ(catalogue.namesOfKinds({"channel"}), (std::vector<std::string>{"T"}));
    EXPECT_EQ(catalogue.types().size(), 1U);

    const SKeyNode& keys = catalogue.keys(*type);
    EXPECT_EQ(keys.attributeNames(), (std::vector<std::string>{"Name", "Type"}));
    EXPECT_EQ(keys.childNames(), (std::vector<std::string>{"A", "B", "C"}));
    EXPECT_NE(keys.child("C")->attribute("d"), nullptr);
    EXPECT_EQ(keys.child("C")->key, nullptr);
}

TEST(TypeCatalogueTest, BadDescriptionsAreNamed)
{
    EXPECT_EQ(messageOf(R"({"types": [{"name": "T", "kind": "channel", "bases": ["missing"]}]})"),
              "bad type descriptions: the base missing of T is described nowhere");
    EXPECT_EQ(messageOf(R"({"types": [{"name": "T", "kind": "channel", "bases": ["U"]},
                                      {"name": "U", "kind": "channel", "bases": ["T"]}]})"),
              "bad type descriptions: T is its own base");
    EXPECT_EQ(messageOf(R"({"types": [{"name": "T", "kind": "channel",
                                       "keys": [{"path": "A", "type": "number"}]}]})"),
              "bad type descriptions in x.types.json: key A is of the unknown type \"number\"");
    EXPECT_EQ(messageOf("{").substr(0, 41), "bad type descriptions in x.types.json: [j");
}

} // namespace Rvl::Test
