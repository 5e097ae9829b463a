#include "host/history/HistoryWriter.h"

#include "host/base/HostException.h"
#include "tests/support/ProgramRun.h"
#include "tests/unit/host/history/HistoryFixture.h"

#include <SQLiteCpp/SQLiteCpp.h>

#if !defined(_WIN32)
#include <csignal>
#include <sys/resource.h>
#endif

#include <filesystem>
#include <limits>

namespace Rvl::Test {

using namespace std::chrono_literals;

namespace {

std::string integrityOf(const std::string& file)
{
    SQLite::Database database(file, SQLite::OPEN_READONLY);
    return database.execAndGet("PRAGMA integrity_check").getString();
}

std::string refusalOf(const std::string& file)
{
    try {
        CHistoryWriter writer(file);
    } catch (const CHostException& exception) {
        EXPECT_EQ(exception.code(), ExitFailure);
        return exception.what();
    }
    return "none";
}

} // namespace

TEST(HistoryWriterTest, WhatIsWrittenIsReadBackExactly)
{
    const CTemporaryFolder folder;
    CHistoryWriter writer(folder.file("h"));
    writer.define({{"Vessel", "degC"}, {"Pump", ""}},
                  {{EHealth::Ok, "ok"}, {EHealth::Fault, "fault: Vessel"}});
    SHistoryBatch batch;
    batch.moments.push_back(
        {noon, {{60.0, 0.1, 1.0 / 3.0, true, false, 0}, {1.0, 2.0, 3.0, false, true, 1}}});
    batch.events.push_back({noon, SHistoryEvent::Command, "Vessel", "page: Vessel: set point 30 -> 60"});
    writer.write(batch);
    // as soon as it is written, by another connection
    const CHistoryReader reader(folder.file("h"));
    ASSERT_EQ(2U, reader.channels().size());
    EXPECT_EQ("Vessel", reader.channels()[0].name);
    EXPECT_EQ("degC", reader.channels()[0].unit);
    const auto vessel = samplesOf(reader, "Vessel");
    ASSERT_EQ(1U, vessel.size());
    EXPECT_EQ(noon, vessel[0].time);
    EXPECT_EQ(60.0, vessel[0].setPoint);
    EXPECT_EQ(0.1, vessel[0].actualValue);
    EXPECT_EQ(1.0 / 3.0, vessel[0].controlValue);
    EXPECT_TRUE(vessel[0].enabled);
    EXPECT_FALSE(vessel[0].manual);
    EXPECT_EQ("ok", vessel[0].health.text);
    const auto pump = samplesOf(reader, "Pump");
    ASSERT_EQ(1U, pump.size());
    EXPECT_FALSE(pump[0].enabled);
    EXPECT_TRUE(pump[0].manual);
    EXPECT_EQ(EHealth::Fault, pump[0].health.kind);
    EXPECT_EQ("fault: Vessel", pump[0].health.text);
    EXPECT_EQ(batch.events, reader.events({noon, noon}));
}

TEST(HistoryWriterTest, SeveralRunsAppendToOneFile)
{
    const CTemporaryFolder folder;
    {
        CHistoryWriter writer(folder.file("h"));
        writeSteady(writer, noon, 1s, 10);
    }
    {
        CHistoryWriter writer(folder.file("h"));
        writer.define({{"New", "bar"}, {"A", "K"}}, {{EHealth::Off, "off"}, {EHealth::Ok, "ok"}});
        writer.write(
            {{{noon + 1min, {{1.0, 2.0, 3.0, false, false, 0}, {4.0, 5.0, 6.0, true, false, 1}}}}, {}});
        const CHistoryReader reader(folder.file("h"));
        const auto samples = samplesOf(reader, "A");
        ASSERT_EQ(11U, samples.size());
        EXPECT_EQ(5.0, samples.back().actualValue);
        EXPECT_EQ("ok", samples.back().health.text);
        EXPECT_EQ("off", samplesOf(reader, "New").at(0).health.text);
        EXPECT_EQ("K", reader.channels()[0].unit) << "that of the latest run";
    }
}

TEST(HistoryWriterTest, WritersOfOneFileDoNotDisturbEachOther)
{
    const CTemporaryFolder folder;
    CHistoryWriter one(folder.file("h"));
    CHistoryWriter other(folder.file("h"));
    writeSteady(one, noon, 100ms, 1000, 1);
    writeSteady(other, noon, 100ms, 1000, 2);
    const CHistoryReader reader(folder.file("h"));
    EXPECT_EQ(2000U, samplesOf(reader, "A").size());
    EXPECT_EQ(1000U, samplesOf(reader, "B").size());
}

TEST(HistoryWriterTest, WhatIsNoHistoryIsRefusedAndNotTouched)
{
    const CTemporaryFolder folder;
    const std::string text = folder.write("precious.txt", "precious text, longer than nothing\n");
    EXPECT_EQ(text + " is not a history", refusalOf(text));
    EXPECT_EQ("precious text, longer than nothing\n", readFile(text));
    const std::string other = folder.file("other.db");
    {
        SQLite::Database database(other, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        database.exec("CREATE TABLE precious(x)");
    }
    const std::string before = readFile(other);
    EXPECT_EQ(other + " is not a history", refusalOf(other));
    EXPECT_EQ(before, readFile(other));
    const std::string missing = folder.file("missing/h");
    EXPECT_EQ("cannot create the history " + missing + ": unable to open database file", refusalOf(missing));
    std::filesystem::create_directory(folder.file("folder"));
    EXPECT_EQ(folder.file("folder") + " is not a history", refusalOf(folder.file("folder")));
}

TEST(HistoryWriterTest, HistoryOfAnotherVersionIsRefusedAndNotTouched)
{
    const CTemporaryFolder folder;
    const std::string file = folder.file("h");
    {
        CHistoryWriter writer(file);
        writeSteady(writer, noon, 1s, 3);
    }
    {
        SQLite::Database database(file, SQLite::OPEN_READWRITE);
        database.exec("PRAGMA user_version = 7");
    }
    const std::string before = readFile(file);
    EXPECT_EQ("the history " + file + " is of version 7; expected version 1", refusalOf(file));
    EXPECT_THROW(CHistoryReader{file}, CHostException);
    EXPECT_EQ(before, readFile(file));
}

TEST(HistoryWriterTest, EmptyFileBecomesAHistory)
{
    const CTemporaryFolder folder;
    const std::string file = folder.write("h", "");
    CHistoryWriter writer(file);
    writeSteady(writer, noon, 1s, 3);
    EXPECT_EQ(3U, samplesOf(CHistoryReader(file), "A").size());
}

TEST(HistoryWriterTest, ValuesThatAreNotFiniteAreKeptAndLeftOutOfMeans)
{
    const CTemporaryFolder folder;
    {
        CHistoryWriter writer(folder.file("h"));
        writer.define({{"A", ""}}, {{EHealth::Ok, "ok"}});
        SHistoryBatch batch;
        for (int i = 0; i < 4; ++i) {
            const double value = i == 0   ? std::numeric_limits<double>::quiet_NaN()
                                 : i == 1 ? std::numeric_limits<double>::infinity()
                                          : static_cast<double>(i);
            batch.moments.push_back(
                {noon + i * 1s, {{1.0, value, std::numeric_limits<double>::quiet_NaN(), true, false, 0}}});
        }
        writer.write(batch);
    }
    const CHistoryReader reader(folder.file("h"));
    EXPECT_TRUE(std::isnan(samplesOf(reader, "A").at(0).actualValue));
    EXPECT_TRUE(std::isinf(samplesOf(reader, "A").at(1).actualValue));
    const SHistoryTrend trend = reader.read("A", noon, noon + 10s, 1);
    ASSERT_EQ(1U, trend.rows.size());
    EXPECT_EQ(2.0, trend.rows[0].actualValue.minimum);
    EXPECT_EQ(2.5, trend.rows[0].actualValue.mean);
    EXPECT_EQ(3.0, trend.rows[0].actualValue.maximum);
    EXPECT_TRUE(std::isnan(trend.rows[0].controlValue.mean));
}

TEST(HistoryWriterTest, CalendarThatIsSetBackLosesNothing)
{
    const CTemporaryFolder folder;
    CHistoryWriter writer(folder.file("h"));
    writeSteady(writer, noon, 1s, 100);
    writeSteady(writer, noon - 30s, 1s, 100);
    writeSteady(writer, noon + 5h, 1s, 100);
    const CHistoryReader reader(folder.file("h"));
    const auto samples = samplesOf(reader, "A");
    EXPECT_EQ(300U, samples.size());
    for (std::size_t i = 1; i < samples.size(); ++i) {
        EXPECT_LE(samples[i - 1].time, samples[i].time);
    }
}

TEST(HistoryWriterTest, ValueTakesFewBytes)
{
    const CTemporaryFolder folder;
    const std::string file = folder.file("h");
    {
        CHistoryWriter writer(file);
        writeSteady(writer, noon, 100ms, 36'000, 4);
    }
    const double samples = 4 * 36'000.0;
    // of two values that change each time, in few bits, and three that do not
    EXPECT_LT(static_cast<double>(std::filesystem::file_size(file)) / samples, 12.0);
    EXPECT_EQ("ok", integrityOf(file));
}

#if !defined(_WIN32)
TEST(HistoryWriterTest, FullDiskThrowsAndWritingGoesOnAfterwards)
{
    const CTemporaryFolder folder;
    const std::string file = folder.file("h");
    const auto formerHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    getrlimit(RLIMIT_FSIZE, &former);
    std::size_t written = 0;
    {
        CHistoryWriter writer(file);
        writer.define({{"A", ""}}, {{EHealth::Ok, "ok"}});
        const auto batchAt = [](std::size_t i) {
            return SHistoryBatch{
                {{noon + static_cast<int>(i) * 1s, {{1.0, static_cast<double>(i), 0.0, true, false, 0}}}},
                {{noon + static_cast<int>(i) * 1s, SHistoryEvent::Gap, "", "text"}}};
        };
        const rlimit tight{200'000, former.rlim_max};
        setrlimit(RLIMIT_FSIZE, &tight);
        bool isFull = false;
        for (; written < 5000 && !isFull; ++written) {
            try {
                writer.write(batchAt(written));
            } catch (const std::exception& exception) {
                EXPECT_STREQ("disk I/O error", exception.what()); // what SQLite makes of a limit

                isFull = true;
                --written;
            }
        }
        EXPECT_TRUE(isFull);
        setrlimit(RLIMIT_FSIZE, &former);
        for (std::size_t end = written + 100; written < end; ++written) {
            writer.write(batchAt(written));
        }
    }
    std::signal(SIGXFSZ, formerHandler);
    EXPECT_EQ("ok", integrityOf(file));
    const CHistoryReader reader(file);
    const auto samples = samplesOf(reader, "A");
    ASSERT_EQ(written, samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        EXPECT_EQ(static_cast<double>(i), samples[i].actualValue) << "each once, in order";
    }
    EXPECT_EQ(written, reader.events(*reader.range()).size());
}
#endif

} // namespace Rvl::Test
