// What the host says and does when something is wrong with a running loop, its output or its surroundings.

#include "tests/support/ProgramRun.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>

#if defined(_WIN32)
#include <windows.h>
#endif

using namespace Rvl::Test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

const std::string host = RIVLINK_HOST_PROGRAM;
const std::string examples = RIVLINK_EXAMPLES_DIRECTORY;

/// An example with one part of it replaced.
std::string exampleWith(const std::string& example, const std::string& part, const std::string& replacement)
{
    std::string text = readFile(examples + "/" + example);
    const std::size_t at = text.find(part);
    EXPECT_NE(std::string::npos, at) << part;
    return text.replace(at, part.size(), replacement);
}

SProgramResult runFor(const std::string& duration, const std::string& text)
{
    const CTemporaryFolder folder;
    return runProgram(host, {"run", "--log", "off", folder.write("c.xml", text), "--for", duration});
}

const std::string cascadeBench = "Noise=\"0.02\" Seed=\"7\"/>";

} // namespace

TEST(HostFaults, InnerLoopThatCaughtANaNIsNotOk)
{
    const SProgramResult result =
        runFor("2s", exampleWith("cascade/cascade.xml", cascadeBench,
                                 "><Fault Kind=\"SensorNaN\" Signal=\"JacketTemperature\" From_s=\"0.3\" "
                                 "To_s=\"0.6\"/></Device>"));
    EXPECT_EQ(0, result.exitCode) << result.err;
    EXPECT_THAT(linesOf(result.out).front(), testing::EndsWith(", ok"));
    EXPECT_THAT(result.out,
                HasSubstr("fault: Vessel: loop 1 calculates a control value that is not a number"));
}

TEST(HostFaults, InnerLoopThatNothingEnablesIsNotOk)
{
    std::string text = readFile(examples + "/cascade/cascade.xml");
    const std::string enabled = "<Enabled>true</Enabled>";
    text.replace(text.rfind(enabled), enabled.size(), "<Enabled>false</Enabled>");
    const SProgramResult result = runFor("500ms", text);
    EXPECT_THAT(result.out,
                HasSubstr("fault: Vessel: loop 1 is disabled, although the loop above it is enabled"));
}

TEST(HostFaults, DisabledValueThatCannotArriveIsTold)
{
    const SProgramResult result =
        runFor("600ms", exampleWith("cascade/cascade.xml", cascadeBench,
                                    "><Fault Kind=\"DeviceAway\" From_s=\"0.3\"/></Device>"));
    EXPECT_EQ("Vessel: its disabled value may not have reached Heater: Device Bench is away and does not "
              "answer\n",
              result.err);
    EXPECT_EQ(1, result.exitCode);
}

TEST(HostFaults, SlowLoopsEndSideBySide)
{
    std::string text = readFile(examples + "/pid/pid.xml");
    const std::string sampleTime = "SampleTime_ms=\"100\"";
    text.replace(text.find(sampleTime), sampleTime.size(), "SampleTime_ms=\"1500\"");
    const std::size_t begin = text.find("    <Channel Name=\"Jacket\"");
    const std::size_t end = text.find("  </Channels>");
    const std::string controller = text.substr(begin, end - begin);
    for (int i = 2; i <= 4; ++i) {
        std::string another = controller;
        another.replace(another.find("\"Jacket\""), 8, "\"Jacket " + std::to_string(i) + "\"");
        text.insert(end, another);
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, runFor("100ms", text).exitCode);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    EXPECT_LT(taken.count(), 4.0) << "four sample times one after the other take 6 s";
}

TEST(HostFaults, SignalThatTheStarterHadIgnoredStaysIgnored)
{
#if defined(_WIN32)
    constexpr eEnd ignored = eEnd::Interrupt;
    ASSERT_TRUE(SetConsoleCtrlHandler(nullptr, TRUE));
#else
    constexpr eEnd ignored = eEnd::HangUp;
    ASSERT_NE(SIG_ERR, std::signal(SIGHUP, SIG_IGN)); // as nohup does
#endif
    CProgramRun run(host, {"run", examples + "/pid/pid.xml", "--for", "3s"});
#if defined(_WIN32)
    SetConsoleCtrlHandler(nullptr, FALSE);
#else
    std::signal(SIGHUP, SIG_DFL);
#endif
    ASSERT_TRUE(eventually([&] { return run.outSoFar().find("Jacket: auto") != std::string::npos; }));
    run.end(ignored);
    const SProgramResult result = run.wait();
    EXPECT_EQ(0, result.exitCode);
    EXPECT_THAT(result.out, HasSubstr("  Jacket   0     Rvl::CPIDControlLoop  2")) << "it ran its full time";
}

TEST(HostFaults, OutputThatCannotBeWrittenIsAFailure)
{
    const std::string file = examples + "/pid/pid.xml";
    for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{
             {"types"}, {"schema"}, {"docs"}, {"print", file}, {"check", file}}) {
        const SProgramResult result = runProgramWithoutOutput(host, command);
        EXPECT_EQ(1, result.exitCode) << command.front();
        EXPECT_EQ("the output could not be written\n", result.err) << command.front();
    }
}

TEST(HostFaults, ConfigurationIsNotReplacedByItsRecord)
{
    const CTemporaryFolder folder;
    const std::string text = readFile(examples + "/pid/pid.xml");
    const std::string file = folder.write("c.xml", text);
    const SProgramResult result = runProgram(host, {"run", file, "--for", "1s", "--record", file, "--force"});
    EXPECT_EQ("the record " + file + " is the configuration\n", result.err);
    EXPECT_EQ(64, result.exitCode);
    EXPECT_EQ(text, readFile(file));
}

TEST(HostFaults, RecordNeedsAFileName)
{
    for (const std::string name : {"", "--quiet"}) {
        const SProgramResult result =
            runProgram(host, {"run", examples + "/pid/pid.xml", "--for", "1s", "--record=" + name});
        EXPECT_EQ(64, result.exitCode) << result.out;
        EXPECT_THAT(result.err, Not(IsEmpty()));
    }
}
