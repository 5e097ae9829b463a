#include "host/web/JsonSchema.h"

#include "host/web/HttpMessage.h"

#include <gtest/gtest.h>

#include <string>

using namespace Rvl;

namespace {

std::string fault(const Json& schema, const Json& document)
{
    try {
        checkSchema(schema, document);
    } catch (const CHttpError& error) {
        EXPECT_EQ(400u, error.status());
        return error.field() + ": " + error.what();
    }
    return {};
}

} // namespace

TEST(JsonSchema, BodyHasTheMembersThatAreDescribed)
{
    const Json schema = object({{"value", schemaOf("number")}, {"note", nullable("string")}}, {"value"});
    EXPECT_EQ("", fault(schema, {{"value", 1}}));
    EXPECT_EQ("", fault(schema, {{"value", 1.5}, {"note", nullptr}}));
    EXPECT_EQ("value: the member \"value\" is missing", fault(schema, Json::object()));
    EXPECT_EQ("value: the member \"value\" is of another type; expected a number",
              fault(schema, {{"value", "1"}}));
    EXPECT_EQ("value: the member \"value\" is of another type; expected a number",
              fault(schema, {{"value", nullptr}}));
    EXPECT_EQ("valu: there is no member \"valu\"", fault(schema, {{"valu", 1}}));
    EXPECT_EQ(": the body is of another type; expected an object", fault(schema, Json::array()));
}

TEST(JsonSchema, MembersOfAnyNameHaveTheirSchema)
{
    const Json schema = object({{"values", mapOf(schemaOf("number"))}}, {"values"});
    EXPECT_EQ("", fault(schema, {{"values", {{"K", 1}, {"Ti", 2.5}}}}));
    EXPECT_EQ("Ti: the member \"Ti\" is of another type; expected a number",
              fault(schema, {{"values", {{"K", 1}, {"Ti", true}}}}));
}

TEST(JsonSchema, ItemsOfAnArrayHaveTheirSchema)
{
    const Json schema = object({{"rows", arrayOf(schemaOf("integer"))}}, {});
    EXPECT_EQ("", fault(schema, {{"rows", {1, 2}}}));
    EXPECT_EQ("rows: the member \"rows\" is of another type; expected an integer",
              fault(schema, {{"rows", {1, 2.5}}}));
}
