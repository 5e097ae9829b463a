#include "host/history/HistoryReport.h"

#include "host/base/NumberText.h"
#include "host/base/UtcText.h"
#include "host/history/TrendSvg.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <map>
#include <utility>

namespace Rvl {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t trendPoints = 800;
constexpr std::size_t mostChanges = 20;
constexpr std::size_t mostEvents = 500;

/// Four significant digits; more only where they stand before the decimal point.
std::string figure(double value)
{
    std::array<char, 64> text{};
    const double magnitude = std::abs(value);
    const bool isWhole = magnitude >= 1e4 && magnitude < 1e9;
    const auto [end, error] =
        std::to_chars(text.data(), text.data() + text.size(), isWhole ? std::round(value) : value,
                      isWhole ? std::chars_format::fixed : std::chars_format::general, isWhole ? 0 : 4);
    return error == std::errc() ? std::string(text.data(), end) : "";
}

/// "85 ms", "12.5 s", "2 min 5 s", "3 h 20 min" or "7 d 2 h".
std::string durationText(milliseconds duration)
{
    const long long all_s = (duration.count() + 500) / 1000;
    const auto two = [](long long count, const char* unit, long long rest, const char* restUnit) {
        return std::to_string(count) + ' ' + unit +
               (rest > 0 ? ' ' + std::to_string(rest) + ' ' + restUnit : std::string());
    };
    if (duration.count() < 1000) {
        return std::to_string(duration.count()) + " ms";
    }
    if (all_s < 60) {
        return figure(static_cast<double>((duration.count() + 50) / 100) / 10.0) + " s";
    }
    if (all_s < 3600) {
        return two(all_s / 60, "min", all_s % 60, "s");
    }
    return all_s < 86400 ? two(all_s / 3600, "h", all_s / 60 % 60, "min")
                         : two(all_s / 86400, "d", all_s / 3600 % 24, "h");
}

std::string shareText(milliseconds part, milliseconds all)
{
    if (all.count() <= 0) {
        return "–";
    }
    const double percent = 100.0 * static_cast<double>(part.count()) / static_cast<double>(all.count());
    return figure(std::round(percent * 10.0) / 10.0) + " %";
}

/// "2026-03-01 14:02:31", without the seconds' fraction.
std::string timeText(std::chrono::system_clock::time_point time)
{
    std::string text = utcText(time).substr(0, 19);
    text[10] = ' ';
    return text;
}

std::string idOf(std::size_t controller)
{
    return "c" + std::to_string(controller + 1);
}

/// What the report says of one controller.
struct SControllerReport
{
    const SHistoryChannel* channel = nullptr;
    std::string trend;
    std::optional<CLoopStatistics> statistics;
    std::optional<double> largestOvershoot;
};

std::string withControllerUnit(const std::string& number, const std::string& unit)
{
    return number + (unit.empty() ? "" : " " + unit);
}

SControllerReport examine(const CHistoryReader& reader, const SReportSettings& settings,
                          const SHistoryChannel& channel)
{
    SControllerReport report;
    report.channel = &channel;
    const SHistoryTrend trend =
        reader.read(channel.name, settings.range.from, settings.range.to, trendPoints);
    double largest = 0.0;
    for (const SHistoryRow& row : trend.rows) {
        for (const double value : {row.controlValue.minimum, row.controlValue.maximum}) {
            largest = std::max(largest, std::isfinite(value) ? std::abs(value) : 0.0);
        }
    }
    report.trend = trendSvg(trend, {settings.range, channel.unit, "trend of " + channel.name});
    report.statistics.emplace(settings.band, largest);
    reader.forEachSample(channel.name, settings.range,
                         [&](const SHistorySample& sample) { report.statistics->add(sample); });
    report.statistics->finish();
    for (const SSetPointChange& change : report.statistics->changes()) {
        if (change.overshoot_percent) {
            report.largestOvershoot =
                std::max(report.largestOvershoot.value_or(0.0), *change.overshoot_percent);
        }
    }
    return report;
}

class CPage
{
public:
    CPage(const CHistoryReader& reader, const SReportSettings& settings)
        : reader_(reader), settings_(settings)
    {}

    std::string make(const std::vector<SControllerReport>& controllers);

private:
    void head();
    void overview(const std::vector<SControllerReport>& controllers);
    void controller(std::size_t index, const SControllerReport& report);
    void changes(const std::vector<SSetPointChange>& changes, const std::string& unit);
    void events();
    void eventTable(const std::string& title, const std::vector<SHistoryEvent>& events, const char* none);
    void definitions();
    std::string bandText() const;
    void add(const std::string& text) { html_ += text; }

    const CHistoryReader& reader_;
    const SReportSettings& settings_;
    std::string html_;
};

std::string CPage::bandText() const
{
    return "±" + figure(settings_.band.value) + (settings_.band.isPercent ? " % of the set point" : "");
}

void CPage::head()
{
    const SHistoryRange& range = settings_.range;
    const std::string title = htmlText(settings_.title);
    add("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
        "'unsafe-inline'\">\n"
        "<title>" +
        title + "</title>\n<style>\n");
    add(R"(:root { color-scheme: light dark; --back: #f4f5f6; --card: #ffffff; --text: #1d2329; --quiet: #59636e;
  --grid: #e2e6ea; --rule: #ccd3da; --actual: #0b63b0; --control: #7a5300; --off: #aab3bc; --manual: #b98a00;
  --fault: #c62828; }
@media (prefers-color-scheme: dark) {
  :root { --back: #14181c; --card: #1d2329; --text: #e6e9ec; --quiet: #a0abb6; --grid: #2d353d; --rule: #3d4751;
    --actual: #6cb2f2; --control: #d9a94a; --off: #5d6872; --manual: #d6ae3c; --fault: #f2706b; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--back); color: var(--text); font: 15px/1.45 system-ui, sans-serif; }
main { max-width: 1080px; margin: 0 auto; padding: 24px 16px 64px; }
h1 { font-size: 24px; margin: 0 0 2px; overflow-wrap: anywhere; } h2 { font-size: 18px; margin: 0 0 12px; }
h3 { font-size: 14px; margin: 16px 0 6px; color: var(--quiet); font-weight: 600; }
p { margin: 0 0 8px; } .quiet { color: var(--quiet); }
section { background: var(--card); border: 1px solid var(--rule); border-radius: 6px; padding: 16px; margin-top: 16px;
  break-inside: avoid-page; }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; font-variant-numeric: tabular-nums; }
th, td { text-align: left; padding: 5px 14px 5px 0; border-bottom: 1px solid var(--grid); vertical-align: top; }
th { color: var(--quiet); font-weight: 600; font-size: 13px; } tr:last-child td { border-bottom: 0; }
td.number, th.number { text-align: right; white-space: nowrap; } td.time { white-space: nowrap; }
a { color: var(--actual); }
dl { display: grid; grid-template-columns: repeat(auto-fill, minmax(180px, 1fr)); gap: 12px; margin: 0 0 16px; }
dt { color: var(--quiet); font-size: 13px; } dd { margin: 0; font-size: 18px; font-variant-numeric: tabular-nums; }
.legend { display: flex; flex-wrap: wrap; gap: 4px 18px; color: var(--quiet); font-size: 13px; margin-top: 6px; }
.legend i { display: inline-block; width: 20px; height: 0; margin-right: 6px; vertical-align: middle; border-top: 2px solid; }
.legend i.set { border-top: 2px dashed var(--text); } .legend i.actual { border-color: var(--actual); }
.legend i.control { border-color: var(--control); } .legend i.off { border-top: 8px solid var(--off); }
.legend i.manual { border-top: 8px solid var(--manual); } .legend i.fault { border-top: 8px solid var(--fault); }
code { font-family: ui-monospace, monospace; font-size: 13px; }
@media print { body { background: none; } section { border: 0; padding: 0; } }
)");
    add(trendStyle() + "</style>\n</head>\n<body>\n<main>\n<h1>" + title + "</h1>\n<p class=\"quiet\">" +
        timeText(range.from) + " to " + timeText(range.to) + " UTC, " +
        durationText(std::chrono::floor<milliseconds>(range.to - range.from)) + "</p>\n");
}

void CPage::overview(const std::vector<SControllerReport>& controllers)
{
    add("<section>\n<h2>Overview</h2>\n<div class=\"scroll\"><table>\n<tr><th>Controller</th>"
        "<th class=\"number\">Automatic</th><th class=\"number\">Out of band</th><th "
        "class=\"number\">IAE</th>"
        "<th class=\"number\">Largest overshoot</th><th class=\"number\">Starts</th>"
        "<th class=\"number\">Faulty</th></tr>\n");
    for (std::size_t i = 0; i < controllers.size(); ++i) {
        const SControllerReport& report = controllers[i];
        const CLoopStatistics& s = *report.statistics;
        const auto cell = [&](const std::string& text) { add("<td class=\"number\">" + text + "</td>"); };
        add("<tr><td><a href=\"#" + idOf(i) + "\">" + htmlText(report.channel->name) + "</a></td>");
        cell(shareText(s.automatic(), s.observed()));
        cell(shareText(s.outOfBand(), s.automatic()));
        cell(htmlText(withControllerUnit(figure(s.integralOfError()), report.channel->unit)) + " s");
        cell(report.largestOvershoot ? figure(*report.largestOvershoot) + " %" : "–");
        cell(std::to_string(s.starts()));
        cell(durationText(s.faulty()));
        add("</tr>\n");
    }
    add("</table></div>\n</section>\n");
}

void CPage::controller(std::size_t index, const SControllerReport& report)
{
    const CLoopStatistics& s = *report.statistics;
    const std::string& unit = report.channel->unit;
    add("<section id=\"" + idOf(index) + "\">\n<h2>" + htmlText(report.channel->name) +
        "</h2>\n<div class=\"scroll\">" + report.trend +
        "</div>\n<div class=\"legend\"><span><i class=\"set\"></i>set point</span>"
        "<span><i class=\"actual\"></i>actual value (band: minimum to maximum)</span>"
        "<span><i class=\"control\"></i>control value</span><span><i class=\"off\"></i>off</span>"
        "<span><i class=\"manual\"></i>manual</span><span><i class=\"fault\"></i>bad input or fault</span>"
        "</div>\n");
    if (s.samples() == 0) {
        add("<p class=\"quiet\">No single values are kept of this time, so there are no statistics.</p>\n"
            "</section>\n");
        return;
    }
    const auto item = [&](const std::string& name, const std::string& value) {
        add("<div><dt>" + name + "</dt><dd>" + htmlText(value) + "</dd></div>");
    };
    add("<h3>Statistics</h3>\n<dl>");
    item("Observed", durationText(s.observed()));
    item("In automatic mode", durationText(s.automatic()));
    item("Integral of absolute error", withControllerUnit(figure(s.integralOfError()), unit) + " s");
    const double automatic_s = std::chrono::duration<double>(s.automatic()).count();
    item("Mean absolute error",
         automatic_s > 0.0 ? withControllerUnit(figure(s.integralOfError() / automatic_s), unit) : "–");
    item("Out of band", durationText(s.outOfBand()) + " (" + shareText(s.outOfBand(), s.automatic()) + ")");
    item("Starts of the actuator", std::to_string(s.starts()));
    item("Bad input or fault", durationText(s.faulty()));
    item("Values", std::to_string(s.samples()));
    add("</dl>\n");
    changes(s.changes(), unit);
    add("</section>\n");
}

void CPage::changes(const std::vector<SSetPointChange>& all, const std::string& unit)
{
    if (all.empty()) {
        return;
    }
    std::vector<SSetPointChange> shown = all;
    if (shown.size() > mostChanges) {
        std::stable_sort(shown.begin(), shown.end(), [](const auto& one, const auto& other) {
            return one.overshoot_percent.value_or(-1.0) > other.overshoot_percent.value_or(-1.0);
        });
        shown.resize(mostChanges);
        std::sort(shown.begin(), shown.end(),
                  [](const auto& one, const auto& other) { return one.time < other.time; });
    }
    add("<h3>Set-point changes" +
        (shown.size() < all.size() ? ": the " + std::to_string(shown.size()) + " of " +
                                         std::to_string(all.size()) + " with the largest overshoot"
                                   : std::string()) +
        "</h3>\n<div class=\"scroll\"><table>\n<tr><th>Time (UTC)</th><th class=\"number\">From</th>"
        "<th class=\"number\">To</th><th class=\"number\">Overshoot</th><th class=\"number\">In the band "
        "after</th>"
        "</tr>\n");
    for (const SSetPointChange& change : shown) {
        add("<tr><td class=\"time\">" + timeText(change.time) + "</td><td class=\"number\">" +
            htmlText(withControllerUnit(shortText(change.from), unit)) + "</td><td class=\"number\">" +
            htmlText(withControllerUnit(shortText(change.to), unit)) + "</td><td class=\"number\">" +
            (change.overshoot_percent ? figure(*change.overshoot_percent) + " %" : "–") +
            "</td><td class=\"number\">" + (change.settled ? durationText(*change.settled) : "–") +
            "</td></tr>\n");
    }
    add("</table></div>\n");
}

void CPage::eventTable(const std::string& title, const std::vector<SHistoryEvent>& all, const char* none)
{
    add("<section>\n<h2>" + title + "</h2>\n");
    if (all.empty()) {
        add("<p class=\"quiet\">" + std::string(none) + "</p>\n</section>\n");
        return;
    }
    const std::size_t first = all.size() > mostEvents ? all.size() - mostEvents : 0;
    if (first > 0) {
        add("<p class=\"quiet\">The last " + std::to_string(mostEvents) + " of " +
            std::to_string(all.size()) + ".</p>\n");
    }
    add("<div class=\"scroll\"><table>\n<tr><th>Time (UTC)</th><th>What</th></tr>\n");
    for (std::size_t i = first; i < all.size(); ++i) {
        add("<tr><td class=\"time\">" + timeText(all[i].time) + "</td><td>" + htmlText(all[i].text) +
            "</td></tr>\n");
    }
    add("</table></div>\n</section>\n");
}

void CPage::events()
{
    std::map<SHistoryEvent::eKind, std::vector<SHistoryEvent>> byKind;
    for (const SHistoryEvent& event : reader_.events(settings_.range, {}, 100'000)) {
        const bool isWanted =
            event.channel.empty() ||
            std::any_of(settings_.channels.begin(), settings_.channels.end(),
                        [&](const SHistoryChannel& channel) { return channel.name == event.channel; });
        if (isWanted) {
            byKind[event.kind == SHistoryEvent::Gap ? SHistoryEvent::Run : event.kind].push_back(event);
        }
    }
    eventTable("Commands", byKind[SHistoryEvent::Command], "No commands in this time.");
    eventTable("Faults and changes of state", byKind[SHistoryEvent::Health],
               "Nothing went wrong in this time.");
    eventTable("Runs", byKind[SHistoryEvent::Run], "No run began or ended in this time.");
}

void CPage::definitions()
{
    add("<section>\n<h2>How the figures are made</h2>\n"
        "<p>From the single values, with <i>w</i> the set point, <i>x</i> the actual value, <i>y</i> the "
        "control "
        "value and Δ<i>t</i> the time to the next value, which is 0 across gaps.</p>\n<table>\n"
        "<tr><td>Integral of absolute error (IAE)</td><td>∑ |<i>w</i> − <i>x</i>| Δ<i>t</i>, in automatic "
        "mode"
        "</td></tr>\n<tr><td>Mean absolute error</td><td>IAE divided by the time in automatic "
        "mode</td></tr>\n"
        "<tr><td>Out of band</td><td>time in automatic mode with |<i>w</i> − <i>x</i>| beyond " +
        bandText() +
        "</td></tr>\n<tr><td>Overshoot</td><td>how far <i>x</i> went beyond the new set point, in percent of "
        "the "
        "change, until the next change</td></tr>\n<tr><td>In the band after</td><td>time from the change "
        "until "
        "<i>x</i> came into the band and stayed</td></tr>\n<tr><td>Starts</td><td>how often |<i>y</i>| rose "
        "above 2 % of its largest value after having been at most 1 % of "
        "it</td></tr>\n</table>\n</section>\n");
}

std::string CPage::make(const std::vector<SControllerReport>& controllers)
{
    head();
    overview(controllers);
    for (std::size_t i = 0; i < controllers.size(); ++i) {
        controller(i, controllers[i]);
    }
    events();
    definitions();
    add("</main>\n</body>\n</html>\n");
    return std::move(html_);
}

} // namespace

bool writeHistoryReport(const CHistoryReader& reader, const SReportSettings& settings, std::ostream& out,
                        const HistoryProgress& progress)
{
    std::vector<SControllerReport> controllers;
    for (const SHistoryChannel& channel : settings.channels) {
        controllers.push_back(examine(reader, settings, channel));
        const std::chrono::nanoseconds all = settings.range.to - settings.range.from;
        const auto share =
            static_cast<double>(controllers.size()) / static_cast<double>(settings.channels.size());
        if (!progress(std::chrono::nanoseconds(std::llround(share * static_cast<double>(all.count()))),
                      all)) {
            return false;
        }
    }
    return static_cast<bool>(out << CPage(reader, settings).make(controllers) << std::flush);
}

} // namespace Rvl
