#include "host/history/HistoryRetention.h"

#include "tests/support/ProgramRun.h"
#include "tests/unit/host/history/HistoryFixture.h"

#include <filesystem>

namespace Rvl::Test {

using namespace std::chrono_literals;

namespace {

std::int64_t countOf(const std::string& file, const std::string& table)
{
    SQLite::Database database(file, SQLite::OPEN_READONLY);
    return database.execAndGet("SELECT count(*) FROM " + table).getInt64();
}

/// As long as retention may take, each batch a step.
void writeOn(CHistoryWriter& writer, HistoryTime from, int count)
{
    for (int i = 0; i < count; ++i) {
        writeSteady(writer, from + i * 1s, 1s, 1);
    }
}

} // namespace

TEST(HistoryRetentionTest, SingleValuesGoFirstAndEachLevelStaysFourTimesAsLong)
{
    const CTemporaryFolder folder;
    const std::string file = folder.file("h");
    CHistoryWriter writer(file, {std::chrono::milliseconds(1h), 2'000'000'000});
    writer.define({{"A", ""}}, {});
    writer.write({{}, {{noon, SHistoryEvent::Run, "", "the run has begun"}}});
    writeSteady(writer, noon, 2s, 9000); // 5 h
    writeOn(writer, noon + 5h, 100);
    const CHistoryReader reader(file);
    const auto range = reader.sampleRange();
    ASSERT_TRUE(range);
    // whole stretches of some minutes are removed
    EXPECT_GE(range->from, noon + 3h + 55min);
    EXPECT_LE(range->from, noon + 4h + 5min);
    EXPECT_EQ(noon, reader.range()->from) << "as a row of an hour";
    // 10 s: four hours
    const SHistoryTrend fine = reader.read("A", noon + 1h, noon + 5h, 1440);
    EXPECT_EQ(10s, fine.resolution);
    ASSERT_FALSE(fine.rows.empty());
    EXPECT_GE(fine.rows.size(), 1410U);
    EXPECT_LE(fine.rows.size(), 1442U);
    // where there is no such row any more, those of 5 min stand for them
    const SHistoryTrend whole = reader.read("A", noon, noon + 5h, 1800);
    EXPECT_EQ(noon, whole.rows.at(0).time);
    EXPECT_EQ(noon + 5min, whole.rows.at(1).time);
    for (std::size_t i = 1; i < whole.rows.size(); ++i) {
        EXPECT_LE(whole.rows[i].time - whole.rows[i - 1].time, 5min) << i << ": no hole";
    }
    // single values where there are any, before these the finest rows
    const SHistoryTrend mixed = reader.read("A", noon + 3h + 50min, noon + 4h + 20min, 500);
    EXPECT_EQ(EHealth::Ok, mixed.rows.at(0).health);
    EXPECT_EQ(10s, mixed.rows.at(1).time - mixed.rows.at(0).time);
    EXPECT_LT(mixed.rows.at(mixed.rows.size() - 1).time - mixed.rows.at(mixed.rows.size() - 2).time, 10s);
    EXPECT_EQ(1U, reader.events({noon, noon + 1h}).size()) << "sixteen times as long";
    writeOn(writer, noon + 21h, 80);
    EXPECT_EQ(0U, reader.events({noon, noon + 1h}).size());
}

TEST(HistoryRetentionTest, FileStaysBelowItsSize)
{
    const CTemporaryFolder folder;
    const std::string file = folder.file("h");
    CHistoryWriter writer(file, {std::chrono::milliseconds(24h * 365), 1'000'000});
    for (int hour = 0; hour < 10; ++hour) {
        writeSteady(writer, noon + hour * 1h, 100ms, 18'000, 2);
        EXPECT_LT(std::filesystem::file_size(file), 1'300'000U) << hour;
    }
    writeOn(writer, noon + 10h, 50);
    EXPECT_LT(std::filesystem::file_size(file), 1'050'000U);
    EXPECT_GT(std::filesystem::file_size(file), 700'000U) << "no more than needed is removed";
    const CHistoryReader reader(file);
    EXPECT_EQ(noon, reader.range()->from) << "coarser rows stay";
    EXPECT_GT(reader.sampleRange()->from, noon + 2h);
    EXPECT_LT(reader.sampleRange()->from, noon + 9h);
}

TEST(HistoryRetentionTest, SmallerSizeIsReachedStepByStep)
{
    const CTemporaryFolder folder;
    const std::string file = folder.file("h");
    {
        CHistoryWriter writer(file);
        writeSteady(writer, noon, 100ms, 100'000, 4);
    }
    const auto before = std::filesystem::file_size(file);
    ASSERT_GT(before, 2'200'000U);
    {
        CHistoryWriter writer(file, {std::chrono::milliseconds(24h * 365), 1'200'000});
        writeOn(writer, noon + 6h, 1);
        EXPECT_GT(countOf(file, "stretch"), 0) << "not all at once";
        writeOn(writer, noon + 6h, 100);
    }
    EXPECT_LT(std::filesystem::file_size(file), 1'260'000U);
}

} // namespace Rvl::Test
