#include "host/history/HistoryReader.h"

#include "host/base/HostException.h"
#include "tests/support/ProgramRun.h"
#include "tests/unit/host/history/HistoryFixture.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>
#include <set>

namespace Rvl::Test {

using namespace std::chrono_literals;

namespace {

/// The mean over all rows' minima and so on, for comparison with the values that were written.
struct SExtent
{
    double minimum = 1e9;
    double maximum = -1e9;
};

SExtent extentOf(const SHistoryTrend& trend)
{
    SExtent result;
    for (const SHistoryRow& row : trend.rows) {
        result.minimum = std::min(result.minimum, row.actualValue.minimum);
        result.maximum = std::max(result.maximum, row.actualValue.maximum);
    }
    return result;
}

} // namespace

TEST(HistoryReaderTest, FileThatIsMissingOrNoHistoryIsNamed)
{
    const CTemporaryFolder folder;
    const auto refusalOf = [](const std::string& file) -> std::string {
        try {
            CHistoryReader reader(file);
        } catch (const CHostException& exception) {
            return exception.what();
        }
        return "none";
    };
    EXPECT_EQ("there is no history " + folder.file("h"), refusalOf(folder.file("h")));
    EXPECT_FALSE(std::filesystem::exists(folder.file("h")));
    const std::string text = folder.write("t", "text");
    EXPECT_EQ(text + " is not a history", refusalOf(text));
}

TEST(HistoryReaderTest, EmptyHistoryHasNothing)
{
    const CTemporaryFolder folder;
    const CHistoryWriter writer(folder.file("h"));
    const CHistoryReader reader(folder.file("h"));
    EXPECT_TRUE(reader.channels().empty());
    EXPECT_FALSE(reader.range());
    EXPECT_FALSE(reader.sampleRange());
    EXPECT_TRUE(reader.read("A", noon, noon + 1h, 100).rows.empty());
    EXPECT_TRUE(reader.events({noon, noon + 1h}).empty());
}

TEST(HistoryReaderTest, FewValuesAreGivenSingly)
{
    const CTemporaryFolder folder;
    CHistoryWriter writer(folder.file("h"));
    writeSteady(writer, noon, 100ms, 1000);
    const CHistoryReader reader(folder.file("h"));
    const SHistoryTrend trend = reader.read("A", noon + 10s, noon + 20s, 101);
    EXPECT_EQ(0ms, trend.resolution);
    ASSERT_EQ(101U, trend.rows.size());
    EXPECT_EQ(noon + 10s, trend.rows.front().time);
    EXPECT_EQ(noon + 20s, trend.rows.back().time);
    EXPECT_EQ(99.0, trend.rows[99].actualValue.minimum);
    EXPECT_EQ(99.0, trend.rows[99].actualValue.mean);
    EXPECT_EQ(99.0, trend.rows[99].actualValue.maximum);
    EXPECT_EQ(-99.0, trend.rows[99].controlValue.mean);
    EXPECT_EQ(45.0, trend.rows[99].setPoint.mean);
    EXPECT_TRUE(trend.rows[99].enabled);
    EXPECT_EQ(100ms, reader.read("A", noon + 10s, noon + 20s, 100).resolution) << "one too many";
}

TEST(HistoryReaderTest, ManyValuesAreJoinedToRowsOfEqualLength)
{
    const CTemporaryFolder folder;
    CHistoryWriter writer(folder.file("h"));
    writeSteady(writer, noon, 100ms, 1005); // the last of them not yet put together
    const CHistoryReader reader(folder.file("h"));
    const SHistoryTrend trend = reader.read("A", noon, noon + 100s, 50);
    EXPECT_EQ(2s, trend.resolution);
    ASSERT_EQ(51U, trend.rows.size());
    EXPECT_EQ(noon + 4s, trend.rows[2].time);
    EXPECT_EQ(40.0, trend.rows[2].actualValue.minimum);
    EXPECT_EQ(49.5, trend.rows[2].actualValue.mean);
    EXPECT_EQ(59.0, trend.rows[2].actualValue.maximum);
    EXPECT_EQ(-59.0, trend.rows[2].controlValue.minimum);
}

TEST(HistoryReaderTest, CoarsestLevelThatIsFineEnoughIsRead)
{
    const CTemporaryFolder folder;
    const std::string file = folder.file("h");
    {
        CHistoryWriter writer(file);
        writeSteady(writer, noon, 1s, 20'000);
    }
    {
        // each level with a set point of its own shows where rows come from
        SQLite::Database database(file, SQLite::OPEN_READWRITE);
        database.exec("UPDATE level SET setSum = setCount * length / 1000, setMinimum = 0, setMaximum = 1e6");
    }
    const CHistoryReader reader(file);
    const auto level_s = [&](std::chrono::seconds length, std::size_t points) {
        const SHistoryTrend trend = reader.read("A", noon, noon + length, points);
        std::set<double> found;
        for (const SHistoryRow& row : trend.rows) {
            found.insert(row.setPoint.mean);
        }
        EXPECT_EQ(1U, found.size());
        return found.empty() ? 0.0 : *found.begin();
    };
    EXPECT_EQ(45.0, level_s(900s, 100)) << "9 s per row: single values";
    EXPECT_EQ(10.0, level_s(1000s, 100)) << "10 s";
    EXPECT_EQ(10.0, level_s(20'000s, 67)) << "299 s";
    EXPECT_EQ(300.0, level_s(20'100s, 67)) << "300 s";
    EXPECT_EQ(3600.0, level_s(18'000s, 5)) << "1 h";
}

TEST(HistoryReaderTest, EveryResolutionShowsTheSameExtremesAndMean)
{
    const CTemporaryFolder folder;
    CHistoryWriter writer(folder.file("h"));
    writeSteady(writer, noon, 100ms, 100'050, 2);
    const CHistoryReader reader(folder.file("h"));
    for (const std::size_t points : {1U, 3U, 10U, 60U, 500U, 5000U}) {
        const SHistoryTrend trend = reader.read("B", noon, noon + 10'010s, points);
        EXPECT_EQ(0.0, extentOf(trend).minimum) << points;
        EXPECT_EQ(99.0, extentOf(trend).maximum) << points;
        EXPECT_LE(trend.rows.size(), points + 1) << points;
        EXPECT_GE(trend.rows.size(), points / 2) << points;
        EXPECT_TRUE(trend.rows[0].manual);
        if (trend.resolution >= 10s) {
            EXPECT_NEAR(49.5, trend.rows[0].actualValue.mean, 0.1) << points;
        }
    }
}

TEST(HistoryReaderTest, TimeWithoutValuesHasNoRows)
{
    const CTemporaryFolder folder;
    CHistoryWriter writer(folder.file("h"));
    writeSteady(writer, noon, 1s, 100);
    writeSteady(writer, noon + 2h, 1s, 100);
    const CHistoryReader reader(folder.file("h"));
    EXPECT_TRUE(reader.read("A", noon + 1h, noon + 90min, 1000).rows.empty());
    EXPECT_TRUE(reader.read("A", noon + 1h, noon + 90min, 10).rows.empty());
    EXPECT_TRUE(reader.read("A", noon + 1h, noon, 10).rows.empty()) << "the end before the begin";
    EXPECT_TRUE(reader.read("unknown", noon, noon + 3h, 10).rows.empty());
    ASSERT_TRUE(reader.range());
    EXPECT_EQ(noon, reader.range()->from);
    EXPECT_EQ(noon + 2h + 99s, reader.range()->to);
}

TEST(HistoryReaderTest, WorstHealthOfARowIsShown)
{
    const CTemporaryFolder folder;
    CHistoryWriter writer(folder.file("h"));
    writer.define({{"A", ""}}, {{EHealth::Ok, "ok"}, {EHealth::Fault, "fault"}, {EHealth::Off, "off"}});
    SHistoryBatch batch;
    for (int i = 0; i < 20; ++i) {
        batch.moments.push_back({noon + i * 1s,
                                 {{0.0, 0.0, 0.0, i != 3, false,
                                   i == 5   ? 1U
                                   : i == 3 ? 2U
                                            : 0U}}});
    }
    writer.write(batch);
    const SHistoryTrend trend = CHistoryReader(folder.file("h")).read("A", noon, noon + 20s, 2);
    ASSERT_EQ(2U, trend.rows.size());
    EXPECT_EQ(EHealth::Fault, trend.rows[0].health);
    EXPECT_EQ(EHealth::Ok, trend.rows[1].health);
}

TEST(HistoryReaderTest, EventsAreChosenByTimeAndChannel)
{
    const CTemporaryFolder folder;
    CHistoryWriter writer(folder.file("h"));
    writer.define({{"A", ""}, {"B", ""}}, {});
    const SHistoryEvent begin{noon, SHistoryEvent::Run, "", "the run has begun"};
    const SHistoryEvent one{noon + 1s, SHistoryEvent::Command, "A", "page: A: enabled false -> true"};
    const SHistoryEvent two{noon + 1s, SHistoryEvent::Health, "B", "B: fault: Heater: offline"};
    writer.write({{}, {begin, one, two}});
    const CHistoryReader reader(folder.file("h"));
    using Events = std::vector<SHistoryEvent>;
    EXPECT_EQ((Events{begin, one, two}), reader.events({noon, noon + 1s}));
    EXPECT_EQ((Events{begin, one}), reader.events({noon, noon + 1s}, "A"));
    EXPECT_EQ((Events{one, two}), reader.events({noon + 1ms, noon + 1h}));
    EXPECT_EQ((Events{two}), reader.events({noon, noon + 1h}, {}, 1)) << "the last ones";
    EXPECT_STREQ("health", textOf(SHistoryEvent::Health));
}

TEST(HistoryReaderTest, DamagedValuesAreReported)
{
    const CTemporaryFolder folder;
    const std::string file = folder.file("h");
    {
        CHistoryWriter writer(file);
        writeSteady(writer, noon, 1s, 100);
    }
    {
        SQLite::Database database(file, SQLite::OPEN_READWRITE);
        database.exec("UPDATE stretch SET samples = x'6401'");
    }
    try {
        CHistoryReader(file).read("A", noon, noon + 100s, 1000);
        FAIL() << "nothing thrown";
    } catch (const CHostException& exception) {
        EXPECT_EQ("cannot read the history " + file + ": the code of samples ends early",
                  std::string(exception.what()));
    }
}

} // namespace Rvl::Test
