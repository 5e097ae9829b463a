#include "host/documents/ConfigurationSchema.h"

#include "tests/support/SchemaCheck.h"
#include "tests/unit/host/HostProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Rvl::Test {

namespace {

using testing::HasSubstr;

std::string schemaOf(const std::string& types)
{
    CTypeCatalogue catalogue;
    catalogue.addText(R"({"plugin": "p", "types": [)" + types + "]}", "x");
    catalogue.resolve();
    return configurationSchema(catalogue);
}

/// A configuration of one device, of the type T if the attributes do not say otherwise. It begins in line 2.
std::string withDevice(const std::string& content, const std::string& attributes = "Type=\"T\"")
{
    return "<Configuration><Plugins/><Channels/><Devices>\n<Device Name=\"D\" " + attributes + ">" + content +
           "</Device></Devices></Configuration>";
}

class FakeSchema : public testing::Test
{
protected:
    CSchemaCheck schema{runHost({"schema", "--plugin", "rivlink_fake"}).out};
};

TEST_F(FakeSchema, SoundConfigurationValidates)
{
    const std::string text = readFile(std::string(RIVLINK_HOST_TEST_FOLDER) + "/sound/two_controllers.xml");
    ASSERT_NE(text, "");
    EXPECT_EQ(asText(schema.marks(text)), "");
}

TEST_F(FakeSchema, FrameIsMarkedWhereItIsWrong)
{
    EXPECT_EQ(asText(schema.marks("<Configuration><Channels/><Plugins/></Configuration>")), "");
    const auto marks = schema.marks("<Configuration>\n"
                                    "<Plugins>\n"
                                    "<Plugin/>\n"
                                    "<Plugin Name=\"\"/>\n"
                                    "<Plug Name=\"p\"/></Plugins>\n"
                                    "<Channels/>\n"
                                    "<Channels/>\n"
                                    "</Configuration>");
    EXPECT_TRUE(isMarked(marks, 3, "'Name' is required but missing")) << asText(marks);
    EXPECT_TRUE(isMarked(marks, 4, "'Name'")) << asText(marks);
    EXPECT_TRUE(isMarked(marks, 5, "'Plug': This element is not expected")) << asText(marks);
    EXPECT_TRUE(isMarked(marks, 7, "'Channels': This element is not expected")) << asText(marks);
    EXPECT_TRUE(
        isMarked(schema.marks("<Configuration><Plugins/></Configuration>"), 1, "Missing child element"));
    EXPECT_TRUE(isMarked(schema.marks("<Konfiguration/>"), 1, "No matching global declaration"));
}

} // namespace

TEST(ConfigurationSchemaTest, ChildrenStandInAnyOrderAndOnce)
{
    const CSchemaCheck schema(schemaOf(R"({"name": "T", "kind": "device", "keys": [
        {"path": "A", "type": "text", "required": true}, {"path": "B", "type": "text"}]})"));
    EXPECT_EQ(asText(schema.marks(withDevice("<B>b</B><A>a</A>"))), "");
    EXPECT_EQ(asText(schema.marks(withDevice("<A>a</A>"))), "");
    EXPECT_TRUE(
        isMarked(schema.marks(withDevice("<B>b</B>")), 2, "Missing child element(s). Expected is ( A )"));
    EXPECT_TRUE(
        isMarked(schema.marks(withDevice("<A>a</A>\n<A>a</A>")), 3, "'A': This element is not expected"));
}

TEST(ConfigurationSchemaTest, BesideARepeatedChildTheOthersStandOnceAndInAnyOrder)
{
    const CSchemaCheck schema(schemaOf(R"({"name": "T", "kind": "device", "keys": [
        {"path": "A", "type": "text", "required": true}, {"path": "B", "type": "text"},
        {"path": "S", "type": "section", "required": true},
        {"path": "S.<xmlattr>.X", "type": "real", "required": true},
        {"path": "R", "type": "section", "repeated": true}, {"path": "R.<xmlattr>.Y", "type": "real"}]})"));
    EXPECT_EQ(asText(schema.marks(withDevice("<R/><B>b</B><R Y=\"1\"/><S X=\"1\"/><A>a</A><R/>"))), "");
    EXPECT_TRUE(isMarked(schema.marks(withDevice("<S X=\"1\"/><R/>")), 2, "'Device.A'"));
    EXPECT_TRUE(isMarked(schema.marks(withDevice("<A>a</A><R/>")), 2, "'Device.S'"));
    EXPECT_TRUE(isMarked(schema.marks(withDevice("<A>a</A><S X=\"1\"/>\n<S X=\"1\"/>")), 3, "'Device.S'"));
    EXPECT_TRUE(
        isMarked(schema.marks(withDevice("<A>a</A><S X=\"1\"/><B>1</B>\n<B>2</B>")), 3, "'Device.B'"));
    EXPECT_TRUE(
        isMarked(schema.marks(withDevice("<A>a</A><S X=\"1\"/>\n<Q/>")), 3, "'Q': This element is not"));
}

TEST(ConfigurationSchemaTest, KeysOfAllTypesOfAKindAreAllowedAndThoseOfNoneMarked)
{
    const CSchemaCheck schema(schemaOf(R"(
        {"name": "T", "kind": "device", "keys": [
            {"path": "<xmlattr>.A", "type": "integer", "minimum": 1, "required": true},
            {"path": "<xmlattr>.Both", "type": "text", "required": true},
            {"path": "P", "type": "section", "required": true},
            {"path": "P.<xmlattr>.X", "type": "real", "required": true},
            {"path": "P.<xmlattr>.Y", "type": "real", "required": true}]},
        {"name": "U", "kind": "device", "keys": [
            {"path": "<xmlattr>.A", "type": "boolean", "required": true},
            {"path": "<xmlattr>.Both", "type": "text", "required": true},
            {"path": "P", "type": "section"},
            {"path": "P.<xmlattr>.X", "type": "real", "required": true},
            {"path": "V", "type": "text", "required": true}]})"));
    EXPECT_EQ(asText(schema.marks(withDevice("<P X=\"1\" Y=\"2\"/>", R"(Type="T" A="5" Both="b")"))), "");
    EXPECT_EQ(asText(schema.marks(withDevice("<V>v</V>", R"(Type="U" A="true" Both="b")"))), "");
    const auto marksOf = [&](const std::string& content, const std::string& attributes) {
        return schema.marks(withDevice(content, attributes));
    };
    EXPECT_TRUE(isMarked(marksOf("", R"(Type="T" A="5")"), 2, "'Both' is required but missing"));
    EXPECT_TRUE(isMarked(marksOf("", R"(Type="T" A="-5" Both="b")"), 2, "'A'"));
    EXPECT_TRUE(isMarked(marksOf("", R"(Type="T" A="yes" Both="b")"), 2, "'A'"));
    EXPECT_TRUE(isMarked(marksOf("\n<P Y=\"1\"/>", R"(Type="T" A="5" Both="b")"), 3, "'X' is required but"));
    EXPECT_TRUE(isMarked(marksOf("", R"(Type="W" A="5" Both="b")"), 2, "'Type'"));
    EXPECT_TRUE(isMarked(marksOf("", R"(Type="T" A="5" Both="b" C="1")"), 2, "'C' is not allowed"));
}

TEST(ConfigurationSchemaTest, TypesMayDisagreeOnWhatAnElementIs)
{
    const CSchemaCheck schema(schemaOf(R"(
        {"name": "T", "kind": "device", "keys": [{"path": "P", "type": "real"}]},
        {"name": "U", "kind": "device", "keys": [
            {"path": "P", "type": "section"}, {"path": "P.<xmlattr>.X", "type": "real"}]},
        {"name": "V", "kind": "device", "keys": [{"path": "P", "type": "element", "kinds": ["loopIn"]}]},
        {"name": "I", "kind": "loopIn", "keys": [{"path": "Channel", "type": "text"}]})"));
    EXPECT_EQ(asText(schema.marks(withDevice("<P>5</P>"))), "");
    EXPECT_EQ(asText(schema.marks(withDevice("<P X=\"5\"/>", "Type=\"U\""))), "");
    EXPECT_EQ(asText(schema.marks(withDevice("<P><Type>I</Type><Channel>c</Channel></P>", "Type=\"V\""))),
              "");
    EXPECT_TRUE(isMarked(schema.marks(withDevice("\n<P Z=\"5\"/>")), 3, "'Z' is not allowed"));
    EXPECT_TRUE(isMarked(schema.marks(withDevice("<P>\n<Type>J</Type></P>")), 3, "'Type'"));
}

TEST(ConfigurationSchemaTest, ValuesAreCheckedAsTheHostChecksThem)
{
    const CSchemaCheck schema(schemaOf(R"({"name": "T", "kind": "device", "keys": [
        {"path": "<xmlattr>.Real", "type": "real"},
        {"path": "<xmlattr>.Above", "type": "real", "minimum": 0, "exclusiveMinimum": true, "maximum": 1e9},
        {"path": "<xmlattr>.Whole", "type": "integer"},
        {"path": "<xmlattr>.Large", "type": "integer", "minimum": 0, "maximum": 4294967295},
        {"path": "<xmlattr>.Bits", "type": "hexadecimal"},
        {"path": "<xmlattr>.Switch", "type": "boolean"},
        {"path": "<xmlattr>.Mode", "type": "choice", "choices": ["Fast", "Slow"]},
        {"path": "<xmlattr>.Text", "type": "text"}]})"));
    std::vector<std::string> sound;
    std::vector<std::string> wrong;
    const auto add = [](std::vector<std::string>& list, const std::string& name,
                        const std::vector<std::string>& values) {
        for (const std::string& value : values) {
            list.push_back(withDevice("", "Type=\"T\" " + name + "=\"" + value + "\""));
        }
    };
    add(sound, "Real", {"0", "-1.5", "+2", ".5", "5.", "1e-3", " 7 ", "1E+300"});
    add(wrong, "Real", {"", "1,5", "INF", "-INF", "NaN", "0x10", "1e", "five"});
    add(sound, "Above", {"0.001", "1e9"});
    add(wrong, "Above", {"0", "-1", "1000000001"});
    add(sound, "Whole", {"0", "-2147483648", "+2147483647"});
    add(wrong, "Whole", {"1.0", "2147483648", "-2147483649", "1e3", ""});
    add(sound, "Large", {"4294967295"});
    add(wrong, "Large", {"4294967296", "-1"});
    add(sound, "Bits", {"0", "ff", "0xFF", "0Xabcdef01", "0x0000000000000001"});
    add(wrong, "Bits", {"", "0x", "g", "123456789", "0x123456789"});
    add(sound, "Switch", {"true", "false", "0", "1"});
    add(wrong, "Switch", {"True", "yes", "2", ""});
    add(sound, "Mode", {"Fast", "Slow"});
    add(wrong, "Mode", {"fast", "", "Fast "});
    add(sound, "Text", {"", "anything"});
    const auto soundMarks = schema.marks(sound);
    for (std::size_t i = 0; i < sound.size(); ++i) {
        EXPECT_EQ(asText(soundMarks[i]), "") << sound[i];
    }
    const auto wrongMarks = schema.marks(wrong);
    for (std::size_t i = 0; i < wrong.size(); ++i) {
        EXPECT_TRUE(isMarked(wrongMarks[i], 2, "attribute")) << wrong[i];
    }
}

TEST(ConfigurationSchemaTest, KeysAreDocumentedWithTheirTypesIfNotAllTypesHaveThem)
{
    const std::string schema = schemaOf(R"(
        {"name": "T", "kind": "device", "meaning": "the first", "keys": [
            {"path": "<xmlattr>.A", "type": "real", "unit": "s", "minimum": 0, "default": 1.5, "meaning": "a time"},
            {"path": "<xmlattr>.B", "type": "boolean", "required": true, "meaning": "a switch"}]},
        {"name": "U", "kind": "device", "meaning": "the second", "keys": [
            {"path": "<xmlattr>.B", "type": "boolean", "required": true, "meaning": "a switch"}]})");
    for (const char* text :
         {">T: a time (real, &gt;= 0, in s, default 1.5, optional)<", ">a switch (boolean, required)<",
          "<xs:enumeration value=\"T\">", "<xs:documentation>the first</xs:documentation>",
          "<xs:documentation>the second</xs:documentation>"}) {
        EXPECT_THAT(schema, HasSubstr(text));
    }
}

} // namespace Rvl::Test
