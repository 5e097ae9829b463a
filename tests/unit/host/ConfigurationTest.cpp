#include "host/Configuration.h"

#include "host/HostException.h"
#include "tests/support/ProgramRun.h"

#include <boost/property_tree/xml_parser.hpp>
#include <gtest/gtest.h>

#include <sstream>

namespace Rvl::Test {

namespace {

boost::property_tree::ptree asBoostReadsIt(const std::string& xml)
{
    std::istringstream stream(xml);
    boost::property_tree::ptree tree;
    boost::property_tree::read_xml(stream, tree,
                                   boost::property_tree::xml_parser::trim_whitespace |
                                       boost::property_tree::xml_parser::no_comments);
    return tree;
}

std::string dump(const boost::property_tree::ptree& tree, const std::string& indent = "\n")
{
    std::string text = "'" + tree.data() + "'";
    for (const auto& [key, child] : tree) {
        text += indent + key + "=" + dump(child, indent + "  ");
    }
    return text;
}

class SameTreeAsBoost : public testing::TestWithParam<const char*>
{};

TEST_P(SameTreeAsBoost, IsGivenToFactories)
{
    const CConfiguration configuration = CConfiguration::parse(GetParam(), "test.xml");
    boost::property_tree::ptree ours;
    ours.push_back({configuration.root().name(), CConfiguration::tree(configuration.root())});
    const boost::property_tree::ptree boosts = asBoostReadsIt(GetParam());
    EXPECT_EQ(dump(ours), dump(boosts));
    EXPECT_TRUE(ours == boosts);
}

INSTANTIATE_TEST_SUITE_P(
    Documents, SameTreeAsBoost,
    testing::Values("<A/>", "<A></A>", "<A>text</A>", "<?xml version=\"1.0\"?>\n<A  b = '1'  c=\"2\" />",
                    "<A>\n  <B>  spaced   out \n\t text </B>\n  <B x=' kept  as it is '/>\n</A>",
                    "<A>one<!-- left out -->two<B/>three</A>", "<A>one <B/> two</A>",
                    "<A><![CDATA[  raw <text>  ]]></A>", "<A>&lt;&amp;&gt;&quot;&apos;&#65;&#x42;</A>",
                    "<A b='&lt;&amp;&gt;&quot;&apos;&#65;'/>", "<A b='two\nlines'/>",
                    "<!DOCTYPE A><A><!-- c --><B><C>1</C><C>2</C></B><?pi x?></A>",
                    "<A><Type>Rvl::CX</Type><P.Q r.s='1'/></A>",
                    "<A>gr\xC3\xB6\xC3\x9F"
                    "e</A>",
                    "<A>\r\n<B>x\r\ny</B>\r\n</A>", "<A b='' c=''><B></B><C> </C></A>"));

} // namespace

TEST(ConfigurationTest, PathHasAnIndexOnlyWhereSiblingsShareAName)
{
    const auto configuration = CConfiguration::parse("<A><B/><C/><C><D/></C></A>", "test.xml");
    const pugi::xml_node second = configuration.root().last_child();
    EXPECT_EQ(CConfiguration::path(configuration.root()), "/A");
    EXPECT_EQ(CConfiguration::path(configuration.root().child("B")), "/A/B");
    EXPECT_EQ(CConfiguration::path(second.child("D")), "/A/C[2]/D");
}

TEST(ConfigurationTest, FaultStandsInTheLineOfItsElementOrAttribute)
{
    const auto configuration = CConfiguration::parse(
        "<?xml version='1.0'?>\n<A>\n  <!--\n  -->\n  <B\n    c='1'\n    d='2'/>\n</A>", "test.xml");
    const pugi::xml_node node = configuration.root().child("B");
    EXPECT_EQ(configuration.fault(node, "x").line, 5U);
    const SFault fault = configuration.fault(node, node.attribute("d"), "is wrong");
    EXPECT_EQ(fault.line, 7U);
    EXPECT_EQ(fault.path, "/A/B[@d]");
    EXPECT_EQ(fault.text, "is wrong");
}

TEST(ConfigurationTest, ByteOrderMarkIsNoPartOfTheDocument)
{
    const auto configuration = CConfiguration::parse("\xEF\xBB\xBF<A>\n<B/></A>", "test.xml");
    EXPECT_EQ(configuration.fault(configuration.root().child("B"), "x").line, 2U);
}

TEST(ConfigurationTest, FileThatIsNotThereIsNamed)
{
    try {
        CConfiguration::load("no/such/file.xml");
        FAIL() << "nothing thrown";
    } catch (const CHostException& exception) {
        EXPECT_STREQ(exception.what(), "cannot read no/such/file.xml: No such file or directory");
        EXPECT_EQ(exception.code(), ExitFailure);
    }
}

TEST(ConfigurationTest, FolderIsNoConfiguration)
{
    const CTemporaryFolder folder;
    try {
        CConfiguration::load(folder.file(""));
        FAIL() << "nothing thrown";
    } catch (const CHostException& exception) {
        EXPECT_EQ(exception.what(), "cannot read " + folder.file("") + ": Is a directory");
    }
}

} // namespace Rvl::Test
