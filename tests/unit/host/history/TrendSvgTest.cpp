#include "host/history/TrendSvg.h"

#include "tests/unit/host/history/HistoryFixture.h"

#include <gmock/gmock.h>

#include <limits>

namespace Rvl::Test {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

SHistoryRow row(std::chrono::seconds at, double actualValue)
{
    return {noon + at, {45, 45, 45}, {actualValue - 1, actualValue, actualValue + 1}, {50, 50, 50}, true};
}

std::string drawn(const SHistoryTrend& trend)
{
    return trendSvg(trend, {{noon, noon + 100s}, "degC", "trend of \"A\""});
}

/// How often a part occurs.
std::size_t occurrences(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

std::string pathOf(const std::string& svg, const std::string& style)
{
    const std::string begin = "<path class=\"" + style + "\" d=\"";
    const std::size_t at = svg.find(begin);
    return at == std::string::npos
               ? ""
               : svg.substr(at + begin.size(), svg.find('"', at + begin.size()) - at - begin.size());
}

} // namespace

TEST(TrendSvgTest, ValuesStandAtTheirTimesWithinTheirScale)
{
    const std::string svg = drawn({0ms, {row(0s, 20), row(50s, 60), row(100s, 40)}});
    EXPECT_THAT(svg, HasSubstr("aria-label=\"trend of &quot;A&quot;\""));
    EXPECT_THAT(svg, HasSubstr(">degC</text>"));
    EXPECT_THAT(svg, HasSubstr(">12:01:00</text>"));
    // 19 to 61 with 6 % of room at either end, on 22 to 230
    EXPECT_EQ("M64.0 214.4L506.0 37.6L948.0 126.0", pathOf(svg, "actual"));
    EXPECT_EQ("", pathOf(svg, "band")) << "of single values";
}

TEST(TrendSvgTest, RowsHaveABandFromMinimumToMaximum)
{
    const std::string svg = drawn({10s, {row(0s, 20), row(10s, 60)}});
    EXPECT_EQ(3U, occurrences(pathOf(svg, "band"), "L"));
    EXPECT_THAT(pathOf(svg, "band"), testing::EndsWith("Z"));
}

TEST(TrendSvgTest, LineIsInterruptedWhereValuesAreMissing)
{
    SHistoryTrend trend{0ms, {}};
    for (const int second : {0, 1, 2, 3, 50, 51, 52}) {
        trend.rows.push_back(row(std::chrono::seconds(second), 20));
    }
    EXPECT_EQ(2U, occurrences(pathOf(drawn(trend), "actual"), "M"));
    trend.rows[1].actualValue = {NAN, NAN, NAN};
    EXPECT_EQ(3U, occurrences(pathOf(drawn(trend), "actual"), "M"));
}

TEST(TrendSvgTest, SetPointChangesAtOnce)
{
    SHistoryTrend trend{0ms, {row(0s, 20), row(50s, 20), row(100s, 20)}};
    trend.rows[1].setPoint = {30, 30, 30};
    trend.rows[2].setPoint = {30, 30, 30};
    EXPECT_EQ("M64.0 33.1H506.0V140.3H948.0V140.3", pathOf(drawn(trend), "set"));
}

TEST(TrendSvgTest, StatesThatAreNotNormalHaveBars)
{
    SHistoryTrend trend{0ms, {}};
    for (int i = 0; i < 10; ++i) {
        trend.rows.push_back(row(std::chrono::seconds(i * 10), 20));
    }
    EXPECT_THAT(drawn(trend), Not(HasSubstr("<rect")));
    trend.rows[2].manual = true;
    trend.rows[3].manual = true;
    trend.rows[5].health = EHealth::Fault;
    trend.rows[9].enabled = false;
    const std::string svg = drawn(trend);
    EXPECT_EQ(3U, occurrences(svg, "<rect"));
    EXPECT_THAT(svg, HasSubstr("<rect class=\"manual\" x=\"240.8\" y=\"354.0\" width=\"176.8\""));
    EXPECT_THAT(svg, HasSubstr("<rect class=\"fault\""));
    EXPECT_THAT(svg, HasSubstr("<rect class=\"off\""));
}

TEST(TrendSvgTest, NothingIsSaidToBeNothing)
{
    EXPECT_THAT(drawn({}), HasSubstr(">no values</text>"));
    EXPECT_THAT(drawn({}), Not(HasSubstr("nan")));
}

TEST(TrendSvgTest, TicksAreRoundNumbers)
{
    EXPECT_THAT(axisTicks(0.0, 10.0, 5), ElementsAre(0.0, 2.0, 4.0, 6.0, 8.0, 10.0));
    EXPECT_THAT(axisTicks(-0.3, 0.6, 3), ElementsAre(0.0, 0.5));
    EXPECT_TRUE(axisTicks(1.0, 1.0, 5).empty());
    EXPECT_TRUE(axisTicks(0.0, std::numeric_limits<double>::infinity(), 5).empty());
}

TEST(TrendSvgTest, TextIsNoMarkup)
{
    EXPECT_EQ("&lt;b&gt;&amp;&quot;&#39;a", htmlText("<b>&\"'a"));
}

} // namespace Rvl::Test
