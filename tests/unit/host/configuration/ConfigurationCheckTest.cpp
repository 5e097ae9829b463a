#include "tests/unit/host/HostProgram.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Rvl::Test {

namespace {

const std::filesystem::path folder = RIVLINK_HOST_TEST_FOLDER;

std::vector<std::string> brokenConfigurations()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder / "broken")) {
        if (entry.path().extension() == ".xml") {
            names.push_back(entry.path().stem().string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

class BrokenConfiguration : public testing::TestWithParam<std::string>
{};

TEST_P(BrokenConfiguration, IsReportedWithEveryFault)
{
    const std::string expected = readFile((folder / "broken" / (GetParam() + ".expected")).string());
    ASSERT_FALSE(expected.empty());
    const bool wellFormed = expected.find(": /: not well-formed") == std::string::npos;

    const SProgramResult result =
        runHost({"check", "--log", "off", GetParam() + ".xml"}, (folder / "broken").string());
    EXPECT_EQ(result.out + result.err, expected);
    EXPECT_EQ(result.exitCode, wellFormed ? 78 : 65);
    EXPECT_EQ(wellFormed ? result.err : result.out, "");
}

TEST_P(BrokenConfiguration, IsNotRun)
{
    const CTemporaryFolder temporary;
    const SProgramResult result =
        runHost({"run", "--for", "1min", "--log", "off", GetParam() + ".xml"}, (folder / "broken").string(),
                {{"RIVLINK_FAKE_JOURNAL", temporary.file("journal")}});
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, readFile((folder / "broken" / (GetParam() + ".expected")).string()));
    const std::string journal = readFile(temporary.file("journal"));
    EXPECT_EQ(journal.find(" connect"), std::string::npos) << journal;
    EXPECT_EQ(journal.find("able\n"), std::string::npos) << journal;
    EXPECT_EQ(journal.find(" = "), std::string::npos) << journal;
}

INSTANTIATE_TEST_SUITE_P(Files, BrokenConfiguration, testing::ValuesIn(brokenConfigurations()),
                         [](const auto& instance) { return instance.param; });

} // namespace

TEST(ConfigurationCheckTest, SoundConfigurationHasNoFaults)
{
    const SProgramResult result = runHost({"check", "two_controllers.xml"}, (folder / "sound").string());
    EXPECT_EQ(result.out, "two_controllers.xml: no faults\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exitCode, 0);
}

TEST(ConfigurationCheckTest, NamesHaveNoControlCharactersInAnyEncoding)
{
    const CTemporaryFolder temporary;
    const auto check = [&](const std::string& declaration, const std::string& name, bool wide) {
        SFakeConfiguration configuration;
        configuration.moreChannels =
            "<Channel Name=\"" + name + "\" Type=\"Rvl::CFakeInput\" Device=\"Bench\" Value=\"1\"/>\n";
        std::string text = declaration + configuration.text();
        if (wide) {
            std::string units = "\xff\xfe";
            for (const char c : text) {
                units += c;
                units += '\0';
            }
            text = units;
        }
        return runHost({"check", temporary.write("c.xml", text)});
    };
    const std::string place = temporary.file("c.xml") + ":7: /Configuration/Channels/Channel[4][@Name]: ";
    const auto refusal = [&](const std::string& name) {
        return place + "\"" + name + "\" has control characters; expected a name without any\n";
    };
    const std::string latin1 = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>";
    EXPECT_EQ(check("",
                    "P\xc2\x9b"
                    "2J",
                    false)
                  .out,
              refusal("P\\u009b2J"));
    EXPECT_EQ(check(latin1,
                    "P\x9b"
                    "2J",
                    false)
                  .out,
              refusal("P\\u009b2J"));
    EXPECT_EQ(check("",
                    "P\x9b"
                    "2J",
                    true)
                  .out,
              refusal("P\\u009b2J"));
    EXPECT_EQ(check("", "P\x7f", false).out, refusal("P\\x7f"));
    EXPECT_EQ(check("", "P&#13;&#10;12:00:00", false).out, refusal("P\\r\\n12:00:00"));
    EXPECT_EQ(check("", "P&#x202e;", false).out, refusal("P\\u202e"));
    EXPECT_EQ(check("", "P&#x202e;", false).exitCode, 78);
    EXPECT_EQ(check(latin1, "P\xe4", false).out, temporary.file("c.xml") + ": no faults\n");
    // XML has no such character, however it is written
    for (const bool wide : {false, true}) {
        for (const std::string& declaration : {std::string(), latin1}) {
            const SProgramResult result = check(declaration, "P\x1b[2J", wide);
            EXPECT_EQ(result.exitCode, 65);
            EXPECT_EQ(result.out, "");
            EXPECT_EQ(result.err.find(temporary.file("c.xml") + ":7: /: not well-formed: "), 0U)
                << result.err;
            EXPECT_EQ(result.err.find('\x1b'), std::string::npos);
        }
    }
}

TEST(ConfigurationCheckTest, TextsOfPluginsAreEscapedInFaults)
{
    const CTemporaryFolder temporary;
    SFakeConfiguration configuration;
    configuration.moreChannels = "<Channel Name=\"Forging\" Type=\"Rvl::CFakeInput\" Device=\"Bench\" "
                                 "FailAt=\"connectToDevice\"/>\n";
    const std::string file = temporary.write("c.xml", configuration.text());
    EXPECT_EQ(runHost({"check", file}).out,
              file + ":7: /Configuration/Channels/Channel[4]: cannot be built: failing at connectToDevice as "
                     "configured\\r\\n12:00:00 \\x1b[2J\n");
}

TEST(ConfigurationCheckTest, DrivesNothing)
{
    const CTemporaryFolder temporary;
    EXPECT_EQ(runHost({"check", "two_controllers.xml"}, (folder / "sound").string(),
                      {{"RIVLINK_FAKE_JOURNAL", temporary.file("journal")}})
                  .exitCode,
              0);
    // it was built, and it was destroyed; nothing else happened to it
    EXPECT_EQ(linesOf(readFile(temporary.file("journal"))),
              (std::vector<std::string>{"loops of Spare destroyed", "controller Spare destroyed",
                                        "loops of Vessel destroyed", "controller Vessel destroyed",
                                        "output Fan destroyed", "output Heater destroyed",
                                        "input Temperature destroyed", "device Bench destroyed",
                                        "bus Wire destroyed", "bus FakeBus destroyed"}));
}

TEST(ConfigurationCheckTest, OutputMayBeMissingWhereTheInputIsTheOutput)
{
    const CTemporaryFolder temporary;
    std::string text = SFakeConfiguration().text();
    const std::string output = "<Output><Type>Rvl::CFakeLoopOut</Type><Channel>Heater</Channel></Output>";
    text.replace(text.find(output), output.size(), "<InputSameAsOutput> true </InputSameAsOutput>");
    const SProgramResult result = runHost({"check", "--log", "off", temporary.write("c.xml", text)});
    // the tests' plug-in cannot build such a loop; the point is that nothing else is wrong
    EXPECT_EQ(result.out, temporary.file("c.xml") +
                              ":4: /Configuration/Channels/Channel[1]: cannot be built: "
                              "No such node (ControlLoop.Output.Channel)\n");
}

TEST(ConfigurationCheckTest, RootAloneMayNameTheSchemaForEditors)
{
    const CTemporaryFolder temporary;
    const std::string attributes = " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
                                   " xsi:noNamespaceSchemaLocation=\"rivlink.xsd\"";
    const std::string sound = SFakeConfiguration().text();
    std::string text = sound;
    text.insert(std::string("<Configuration").size(), attributes);
    const std::string file = temporary.write("c.xml", text);
    EXPECT_EQ(runHost({"check", "--log", "off", file}).out, file + ": no faults\n");

    text = sound;
    text.insert(text.find("<Channels") + std::string("<Channels").size(), attributes);
    temporary.write("c.xml", text);
    EXPECT_EQ(runHost({"check", "--log", "off", file}).out,
              file + ":3: /Configuration/Channels[@xmlns:xsi]: unknown attribute; expected none\n" + file +
                  ":3: /Configuration/Channels[@xsi:noNamespaceSchemaLocation]: unknown attribute; expected "
                  "none\n");
}

TEST(ConfigurationCheckTest, FileThatCannotBeReadIsAFailure)
{
    const SProgramResult result = runHost({"check", "nowhere.xml"});
    EXPECT_EQ(result.err, "cannot read nowhere.xml: No such file or directory\n");
    EXPECT_EQ(result.exitCode, 1);
}

} // namespace Rvl::Test
