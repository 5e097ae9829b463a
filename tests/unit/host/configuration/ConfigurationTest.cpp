#include "host/configuration/Configuration.h"

#include "host/base/HostException.h"
#include "tests/support/ProgramRun.h"

#include <boost/property_tree/xml_parser.hpp>
#include <gtest/gtest.h>

#include <chrono>

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

std::string refusalOf(const std::string& xml)
{
    try {
        CConfiguration::parse(xml, "test.xml");
    } catch (const CHostException& exception) {
        EXPECT_EQ(exception.code(), ExitBadData);
        return exception.what();
    }
    return "nothing was thrown";
}

/// A text, and what is wrong with it at which line.
struct SMalformed
{
    std::string xml;
    std::string refusal;
};

class MalformedText : public testing::TestWithParam<SMalformed>
{};

TEST_P(MalformedText, IsRefusedAtItsLine)
{
    EXPECT_EQ(refusalOf(GetParam().xml), "test.xml:" + GetParam().refusal + "; expected an XML document");
}

constexpr const char* outside = ": /: not well-formed: text outside of the root element";
constexpr const char* foreign = ": /: not well-formed: a byte that is no character of XML in UTF-8";
constexpr const char* ampersand =
    ": /: not well-formed: \"&\" without one of the references of XML behind it";

INSTANTIATE_TEST_SUITE_P(
    OfEveryKind, MalformedText,
    testing::Values(SMalformed{"", std::string("1: /: not well-formed: No document element found")},
                    SMalformed{"only text", std::string("1: /: not well-formed: No document element found")},
                    SMalformed{"<A/>\n<B/>", std::string("2: /: not well-formed: a second root element")},
                    SMalformed{"<A/>\n\nmore", std::string("3") + outside},
                    SMalformed{"less\n<A/>", std::string("1") + outside},
                    SMalformed{"<A/><![CDATA[x]]>", std::string("1") + outside},
                    SMalformed{"<A>\nb & c</A>", std::string("2") + ampersand},
                    SMalformed{"<A\nb='1'\nc='&'/>", std::string("3") + ampersand},
                    SMalformed{"<A>&amp;\n&amp</A>", std::string("2") + ampersand},
                    SMalformed{"<A>&copy;</A>", std::string("1") + ampersand},
                    SMalformed{"<A>&;</A>", std::string("1") + ampersand},
                    SMalformed{"<A>&#;</A>", std::string("1") + ampersand},
                    SMalformed{"<A>&#x;</A>", std::string("1") + ampersand},
                    SMalformed{"<A>&#0;</A>", std::string("1") + ampersand},
                    SMalformed{"<A b='x&#0;y'/>", std::string("1") + ampersand},
                    SMalformed{"<A>&#31;</A>", std::string("1") + ampersand},
                    SMalformed{"<A>&#-65;</A>", std::string("1") + ampersand},
                    SMalformed{"<A>&#6a;</A>", std::string("1") + ampersand},
                    SMalformed{"<A>&#xd800;</A>", std::string("1") + ampersand},
                    SMalformed{"<A>&#xdfff;</A>", std::string("1") + ampersand},
                    SMalformed{"<A>&#xfffe;</A>", std::string("1") + ampersand},
                    SMalformed{"<A>&#xffff;</A>", std::string("1") + ampersand},
                    SMalformed{"<A>&#x110000;</A>", std::string("1") + ampersand},
                    SMalformed{"<A>&#99999999999;</A>", std::string("1") + ampersand},
                    SMalformed{std::string("<A/>\n\0<B/>", 10), std::string("2") + foreign},
                    SMalformed{"<A>\n\x1b</A>", std::string("2") + foreign},
                    SMalformed{"<A>\x80</A>", std::string("1") + foreign},
                    SMalformed{"<A>\xc0\x80</A>", std::string("1") + foreign},
                    SMalformed{"<A>\xc1\xbf</A>", std::string("1") + foreign},
                    SMalformed{"<A>\xc3</A>", std::string("1") + foreign},
                    SMalformed{"<A/>\xc3", std::string("1") + foreign},
                    SMalformed{"<A>\xe0\x9f\xbf</A>", std::string("1") + foreign},
                    SMalformed{"<A>\xed\xa0\x80</A>", std::string("1") + foreign},
                    SMalformed{"<A>\xef\xbf\xbe</A>", std::string("1") + foreign},
                    SMalformed{"<A>\xf0\x8f\xbf\xbf</A>", std::string("1") + foreign},
                    SMalformed{"<A>\xf4\x90\x80\x80</A>", std::string("1") + foreign},
                    SMalformed{"<A>\xf5\x80\x80\x80</A>", std::string("1") + foreign},
                    SMalformed{"<A><!--\n\xff--></A>", std::string("2") + foreign}));

std::string nested(std::size_t depth)
{
    std::string begin;
    std::string end;
    for (std::size_t level = 0; level < depth; ++level) {
        begin += "<A>\n";
        end += "</A>";
    }
    return begin + end;
}

} // namespace

TEST(ConfigurationTest, EveryCharacterOfXmlIsTaken)
{
    for (const char* const text : {"\t\r\n ~\x7f", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf",
                                   "\xee\x80\x80", "\xef\xbf\xbd", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf",
                                   "&#9;&#x20;&#xd7ff;&#xe000;&#xfffd;&#x10000;&#1114111;"}) {
        EXPECT_EQ(refusalOf(std::string("<A>") + text + "</A>"), "nothing was thrown") << text;
    }
}

TEST(ConfigurationTest, OtherEncodingsAreTaken)
{
    const std::string latin1 = "<?xml version='1.0' encoding='iso-8859-1'?><A>gr\xfc\xdf</A>";
    EXPECT_EQ(CConfiguration::text(CConfiguration::parse(latin1, "test.xml").root()), "gr\xc3\xbc\xc3\x9f");
    const std::string utf16("\xff\xfe<\0A\0>\0\xfc\0<\0/\0A\0>\0", 18);
    EXPECT_EQ(CConfiguration::text(CConfiguration::parse(utf16, "test.xml").root()), "\xc3\xbc");
}

TEST(ConfigurationTest, ExcessiveNestingIsRefused)
{
    EXPECT_EQ(refusalOf(nested(500)), "nothing was thrown");
    EXPECT_EQ(refusalOf(nested(501)), "test.xml:501: /: not well-formed: elements nested more than 500 deep; "
                                      "expected an XML document");
    EXPECT_EQ(refusalOf(nested(200000)),
              "test.xml:501: /: not well-formed: elements nested more than 500 deep; "
              "expected an XML document");
}

TEST(ConfigurationTest, PathHasAnIndexOnlyWhereSiblingsShareAName)
{
    const auto configuration = CConfiguration::parse("<A><B/><C/><C><D/></C></A>", "test.xml");
    const pugi::xml_node second = configuration.root().last_child();
    EXPECT_EQ(configuration.path(configuration.root()), "/A");
    EXPECT_EQ(configuration.path(configuration.root().child("B")), "/A/B");
    EXPECT_EQ(configuration.path(second.child("D")), "/A/C[2]/D");
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

TEST(ConfigurationTest, LinesAreThoseOfTheFileInEveryEncoding)
{
    const std::string text =
        "<?xml version='1.0' encoding='ISO-8859-1'?>\n<!-- \xe4\xe4\xe4\xe4\xe4\xe4 -->\n"
        "<A>\n\n<B c='\xe4'/>\n</A>";
    const auto wide = [&](std::size_t size, bool bigEndian) {
        std::string result;
        for (const char c : text) {
            std::string unit(size, '\0');
            unit[bigEndian ? size - 1 : 0] = c;
            result += unit;
        }
        return result;
    };
    for (const std::string& encoded : {text, wide(2, false), wide(2, true), wide(4, false), wide(4, true)}) {
        const CConfiguration configuration = CConfiguration::parse(encoded, "x.xml");
        const pugi::xml_node node = configuration.root().child("B");
        EXPECT_EQ(configuration.fault(node, "x").line, 5U) << encoded.size();
        EXPECT_EQ(configuration.fault(node, node.attribute("c"), "x").line, 5U) << encoded.size();
        EXPECT_STREQ(node.attribute("c").value(), "\xc3\xa4") << encoded.size();
    }
}

TEST(ConfigurationTest, CarriageReturnsEndLinesToo)
{
    for (const std::string end : {"\n", "\r", "\r\n"}) {
        const CConfiguration configuration =
            CConfiguration::parse("<A>" + end + end + "<B/>" + end + "</A>", "x");
        EXPECT_EQ(configuration.fault(configuration.root().child("B"), "x").line, 3U) << end.size();
    }
}

TEST(ConfigurationTest, CharacterBehindTheRootIsRefused)
{
    for (const char* const text : {"<A/>x", "<A></A>x", "<A/>\nx", "<A/>xy"}) {
        EXPECT_THROW(CConfiguration::parse(text, "x"), CHostException) << text;
    }
    EXPECT_NO_THROW(CConfiguration::parse("<A/>", "x"));
    EXPECT_NO_THROW(CConfiguration::parse("<A/>\n", "x"));
}

TEST(ConfigurationTest, PathsOfManySiblingsTakeATimeThatGrowsWithTheirNumber)
{
    std::string text = "<A>";
    for (int i = 0; i < 50000; ++i) {
        text += "<B/>";
    }
    const CConfiguration configuration = CConfiguration::parse(text + "</A>", "x");
    const auto start = std::chrono::steady_clock::now();
    std::size_t length = 0;
    for (const pugi::xml_node& node : configuration.root().children()) {
        length += configuration.path(node).size();
    }
    EXPECT_GT(length, 50000U);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << "square: half a minute";
}

} // namespace Rvl::Test
