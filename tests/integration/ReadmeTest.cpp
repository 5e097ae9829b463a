// The README, taken at its word.

#include "tests/integration/HostProgram.h"
#include "tests/support/ProgramRun.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <regex>
#include <sstream>

using namespace Rvl::Test;
using testing::HasSubstr;

namespace {

const std::filesystem::path root = std::filesystem::path(RIVLINK_EXAMPLES_DIRECTORY).parent_path();

/// The blocks "```LANGUAGE ... ```" of the README.
std::vector<std::string> blocks(const std::string& language)
{
    const std::string text = readFile((root / "README.md").string());
    const std::string opening = "\n```" + language + "\n";
    std::vector<std::string> found;
    for (std::size_t at = 0; (at = text.find(opening, at)) != std::string::npos;) {
        at += opening.size();
        found.push_back(text.substr(at, text.find("```", at) - at));
    }
    return found;
}

/// The text with the blanks at the beginning of each line taken off.
std::string flush(const std::string& text)
{
    return std::regex_replace(text, std::regex("(^|\n) +"), "$1");
}

std::vector<std::string> words(const std::string& line)
{
    std::istringstream stream(line);
    std::vector<std::string> found;
    for (std::string word; stream >> word && word != "#";) {
        found.push_back(word);
    }
    return found;
}

} // namespace

TEST(Readme, ShowsThePartOfTheCascadeThatMatters)
{
    const auto shown = blocks("xml");
    ASSERT_EQ(1u, shown.size());
    EXPECT_THAT(flush(readFile((root / "examples/cascade/cascade.xml").string())),
                HasSubstr(flush(shown[0])));
}

TEST(Readme, CommandsWork)
{
    const CTemporaryFolder folder;
    std::filesystem::copy(root / "examples", folder.file("examples"),
                          std::filesystem::copy_options::recursive);
    int tried = 0;
    for (const std::string& block : blocks("sh")) {
        for (const std::string& line : linesOf(block)) {
            std::vector<std::string> command = words(line);
            if (command.size() < 2 || command[0] != "./run") {
                continue;
            }
            command.erase(command.begin());
            for (std::size_t i = 1; i < command.size(); ++i) {
                if (command[i - 1] == "--for") {
                    command[i] = "1s";
                }
            }
            const SProgramResult result = runProgram(host, command, folder.file(""));
            EXPECT_EQ(0, result.exitCode) << line << "\n" << result.err;
            EXPECT_NE("", result.out) << line;
            ++tried;
        }
    }
    EXPECT_GE(tried, 7);
    EXPECT_THAT(readFile(folder.file("record.csv")), HasSubstr("time,channel,set point [degC],"));
}

TEST(Readme, FaultIsReportedAsShown)
{
    const CTemporaryFolder folder;
    std::string text = readFile((root / "examples/pid/pid.xml").string());
    text.replace(text.find("Jacket temperature</Channel>"), 18, "Jacket temprature");
    folder.write("c.xml", text);
    const SProgramResult result = runProgram(host, {"check", "c.xml"}, folder.file(""));
    EXPECT_EQ(78, result.exitCode);
    EXPECT_THAT(blocks(""), testing::Contains(result.out));
}

TEST(Readme, LinksLeadSomewhere)
{
    int followed = 0;
    const std::string text = readFile((root / "README.md").string());
    const std::regex link("\\]\\(([^)#]+)");
    for (std::sregex_iterator it(text.begin(), text.end(), link), end; it != end; ++it) {
        EXPECT_TRUE(std::filesystem::exists(root / (*it)[1].str())) << (*it)[1];
        ++followed;
    }
    EXPECT_GE(followed, 15);
}
