#include "host/record/Recorder.h"

#include "host/base/HostException.h"
#include "tests/support/FullDisk.h"
#include "tests/support/ProgramRun.h"

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <cmath>
#include <limits>

namespace Rvl::Test {

namespace {

SControllerState state(const std::string& name, const std::string& unit)
{
    return {name, unit, 60.0, 0.1, 1.0 / 3.0, true, false, {}, {}};
}

const auto moment = std::chrono::system_clock::time_point(std::chrono::milliseconds(1'700'000'000'007));

} // namespace

TEST(RecorderTest, EveryControllerHasARow)
{
    const CTemporaryFolder folder;
    SControllerState other = state("CPU \"load\", %", "degC");
    other.actualValue = std::numeric_limits<double>::quiet_NaN();
    other.enabled = false;
    other.manual = true;
    const std::vector<SControllerState> states{state("Vessel", "degC"), other};
    CRecorder recorder(folder.file("r.csv"), false, states);
    EXPECT_TRUE(recorder.write(states, moment));
    // read while the recorder is still open: what was written is not held back
    EXPECT_EQ(readFile(folder.file("r.csv")),
              "time,channel,set point [degC],actual value [degC],control value,enabled,manual,state\n"
              "2023-11-14T22:13:20.007Z,Vessel,60,0.1,0.3333333333333333,true,false,ok\n"
              "2023-11-14T22:13:20.007Z,\"CPU \"\"load\"\", %\",60,nan,0.3333333333333333,false,true,ok\n");
}

TEST(RecorderTest, HeaderNamesEachUnitWhereTheyDiffer)
{
    const CTemporaryFolder folder;
    CRecorder(folder.file("a"), false, {state("Vessel", "degC"), state("CPU", "%"), state("X", "")});
    EXPECT_EQ(linesOf(readFile(folder.file("a"))).at(0),
              "time,channel,set point [Vessel: degC; CPU: %],actual value [Vessel: degC; CPU: %],"
              "control value,enabled,manual,state");
    CRecorder(folder.file("b"), false, {state("X", "")});
    EXPECT_EQ(linesOf(readFile(folder.file("b"))).at(0),
              "time,channel,set point,actual value,control value,enabled,manual,state");
}

TEST(RecorderTest, RecordThatAnotherRecorderWritesIsNotTouched)
{
    const CTemporaryFolder folder;
    const std::string file = folder.file("r.csv");
    {
        CRecorder first(file, false, {state("Vessel", "")});
        try {
            CRecorder(file, true, {});
            FAIL() << "nothing thrown";
        } catch (const CHostException& exception) {
            EXPECT_EQ(exception.what(), "the record " + file + " is being written by another program");
        }
        EXPECT_EQ(linesOf(readFile(file)).size(), 1U) << "the header is still there";
    }
    CRecorder second(file, true, {});
}

TEST(RecorderTest, RecordIsReplacedOnlyIfAllowed)
{
    const CTemporaryFolder folder;
    const std::string file = folder.write("r.csv", "time,channel,set point\n");
    try {
        CRecorder(file, false, {});
        FAIL() << "nothing thrown";
    } catch (const CHostException& exception) {
        EXPECT_EQ(exception.what(), "the record " + file + " already exists; --force replaces it");
        EXPECT_EQ(exception.code(), ExitFailure);
    }
    EXPECT_EQ(readFile(file), "time,channel,set point\n");
    CRecorder(file, true, {});
    EXPECT_EQ(linesOf(readFile(file)).size(), 1U);
}

TEST(RecorderTest, OnlyRecordsAndEmptyFilesAreReplaced)
{
    const CTemporaryFolder folder;
    const std::string file = folder.write("library.so", "\x7f"
                                                        "ELF precious");
    try {
        CRecorder(file, true, {});
        FAIL() << "nothing thrown";
    } catch (const CHostException& exception) {
        EXPECT_EQ(exception.what(), file + " is not a record; --force replaces records only");
        EXPECT_EQ(exception.code(), ExitFailure);
    }
    EXPECT_EQ(readFile(file), "\x7f"
                              "ELF precious");
    const std::string empty = folder.write("empty.csv", "");
    CRecorder(empty, true, {});
    EXPECT_EQ(linesOf(readFile(empty)).size(), 1U);
}

#if !defined(_WIN32)
TEST(RecorderTest, PipeWithoutAReaderIsRefused)
{
    const CTemporaryFolder folder;
    const std::string pipe = folder.file("pipe");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    try {
        CRecorder(pipe, false, {});
        FAIL() << "nothing thrown";
    } catch (const CHostException& exception) {
        EXPECT_EQ(exception.what(), "nothing reads the pipe " + pipe);
    }
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    CRecorder recorder(pipe, false, {state("Vessel", "")});
    EXPECT_TRUE(recorder.write({state("Vessel", "")}, moment));
    close(reader);
}

TEST(RecorderTest, RecordThatMeetsTheLimitOfItsDiskEndsWithAWholeRow)
{
    const CTemporaryFolder folder;
    const std::string file = folder.file("r.csv");
    const auto formerHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    getrlimit(RLIMIT_FSIZE, &former);
    {
        CRecorder recorder(file, false, {state("Vessel", "")});
        const rlimit tight{500, former.rlim_max};
        setrlimit(RLIMIT_FSIZE, &tight);
        int rows = 0;
        while (recorder.write({state("Vessel", "")}, moment) && rows < 100) {
            ++rows;
        }
        setrlimit(RLIMIT_FSIZE, &former);
        EXPECT_GT(rows, 0);
        EXPECT_TRUE(recorder.failed());
        const std::string text = readFile(file);
        EXPECT_EQ('\n', text.back());
        EXPECT_EQ(static_cast<std::size_t>(rows + 1), linesOf(text).size());
    }
    std::signal(SIGXFSZ, formerHandler);
}
#endif

TEST(RecorderTest, FileThatCannotBeCreatedIsNamed)
{
    const CTemporaryFolder folder;
    const std::string file = folder.file("missing/r.csv");
    try {
        CRecorder(file, false, {});
        FAIL() << "nothing thrown";
    } catch (const CHostException& exception) {
        EXPECT_EQ(exception.what(), "cannot create the record " + file + ": No such file or directory");
    }
}

TEST(RecorderTest, FullDiskIsReportedOnce)
{
    const CFullDisk disk;
    CRecorder recorder(disk.path(), false, {state("Vessel", "")});
    EXPECT_TRUE(eventually([&] { return !recorder.write({state("Vessel", "")}, moment); }));
    EXPECT_TRUE(recorder.failed());
    EXPECT_TRUE(recorder.write({state("Vessel", "")}, moment));
}

} // namespace Rvl::Test
