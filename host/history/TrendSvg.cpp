#include "host/history/TrendSvg.h"

#include "host/base/NumberText.h"
#include "host/base/UtcText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <limits>
#include <system_error>
#include <utility>

namespace Rvl {

namespace {

using Time = std::chrono::system_clock::time_point;
using std::chrono::milliseconds;

// in the units of the picture's view box
constexpr double width = 960.0;
constexpr double left = 64.0;
constexpr double right = width - 12.0;
constexpr double valueTop = 22.0;
constexpr double valueBottom = 230.0;
constexpr double controlTop = 264.0;
constexpr double controlBottom = 344.0;
constexpr double barTop = 354.0;
constexpr double barBottom = 362.0;
constexpr double height = 388.0;

/// With one digit behind the decimal point, whatever the locale.
std::string place(double value)
{
    std::array<char, 64> text{};
    const auto [end, error] =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, 1);
    return error == std::errc() ? std::string(text.data(), end) : "0";
}

/// Extent of what is drawn, with some room around it.
struct SScale
{
    double minimum = 0.0;
    double maximum = 0.0;
    double top = 0.0;
    double bottom = 0.0;

    double y(double value) const { return bottom - (value - minimum) / (maximum - minimum) * (bottom - top); }
};

class CExtent
{
public:
    void add(const SHistoryValues& values)
    {
        if (std::isfinite(values.minimum) && std::isfinite(values.maximum)) {
            minimum_ = std::min(minimum_, values.minimum);
            maximum_ = std::max(maximum_, values.maximum);
        }
    }
    SScale scale(double top, double bottom) const
    {
        if (minimum_ > maximum_) {
            return {0.0, 1.0, top, bottom};
        }
        const double size = maximum_ - minimum_;
        const double room = size > 0.0 ? 0.06 * size : std::max(std::abs(minimum_) * 0.05, 0.5);
        return {minimum_ - room, maximum_ + room, top, bottom};
    }

private:
    double minimum_ = std::numeric_limits<double>::infinity();
    double maximum_ = -std::numeric_limits<double>::infinity();
};

class CPicture
{
public:
    CPicture(const SHistoryTrend& trend, const STrendFrame& frame) : trend_(trend), frame_(frame)
    {
        findSegments();
    }

    std::string draw();

private:
    void findSegments();
    double x(Time time) const
    {
        const double all = std::chrono::duration<double>(frame_.range.to - frame_.range.from).count();
        const double share =
            all > 0.0 ? std::chrono::duration<double>(time - frame_.range.from).count() / all : 0.0;
        return left + std::clamp(share, 0.0, 1.0) * (right - left);
    }
    Time middle(const SHistoryRow& row) const { return row.time + trend_.resolution / 2; }
    void drawTimes();
    void drawScale(const SScale& scale, const std::string& label, int ticks);
    void drawBand(SHistoryValues SHistoryRow::*value, const SScale& scale, const char* style);
    void drawLine(SHistoryValues SHistoryRow::*value, const SScale& scale, const char* style, bool isStep);
    void drawStates();
    void add(const std::string& text) { svg_ += text; }

    const SHistoryTrend& trend_;
    const STrendFrame& frame_;
    /// Begins and ends of rows without a gap between them.
    std::vector<std::pair<std::size_t, std::size_t>> segments_;
    milliseconds usual_{0};
    std::string svg_;
};

void CPicture::findSegments()
{
    const auto& rows = trend_.rows;
    if (rows.empty()) {
        return;
    }
    std::vector<milliseconds> steps;
    for (std::size_t i = 1; i < rows.size(); ++i) {
        steps.push_back(std::chrono::floor<milliseconds>(rows[i].time - rows[i - 1].time));
    }
    usual_ = trend_.resolution;
    if (!steps.empty()) {
        const auto mid = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
        std::nth_element(steps.begin(), mid, steps.end());
        usual_ = std::max(usual_, *mid);
    }
    std::size_t begin = 0;
    for (std::size_t i = 1; i < rows.size(); ++i) {
        if (rows[i].time - rows[i - 1].time > 3 * usual_) {
            segments_.emplace_back(begin, i);
            begin = i;
        }
    }
    segments_.emplace_back(begin, rows.size());
}

void CPicture::drawTimes()
{
    using std::chrono::seconds;
    constexpr std::array<int, 22> steps_s{1,     2,     5,      10,     15,      30,     60,    120,
                                          300,   600,   900,    1800,   3600,    7200,   10800, 21600,
                                          43200, 86400, 172800, 604800, 1209600, 2592000};
    const auto all = std::chrono::ceil<seconds>(frame_.range.to - frame_.range.from);
    const auto* const found =
        std::find_if(steps_s.begin(), steps_s.end(), [&](int step) { return all.count() / step <= 8; });
    const seconds step(found == steps_s.end() ? (all.count() / 8 / 2592000 + 1) * 2592000 : *found);
    const auto first = std::chrono::floor<seconds>(frame_.range.from.time_since_epoch());
    for (Time time{(first + step - seconds(1)) / step * step}; time <= frame_.range.to; time += step) {
        const std::string text = utcText(time);
        const bool isDay = text.substr(11, 8) == "00:00:00";
        const std::string label = isDay                ? text.substr(0, 10)
                                  : step < seconds(60) ? text.substr(11, 8)
                                                       : text.substr(11, 5);
        const std::string at = place(x(time));
        add("<path class=\"grid\" d=\"M" + at + ' ' + place(valueTop) + "V" + place(valueBottom) + "M" + at +
            ' ' + place(controlTop) + "V" + place(controlBottom) + "\"/><text x=\"" + at + "\" y=\"" +
            place(height - 6.0) + "\" text-anchor=\"middle\">" + label + "</text>");
    }
}

void CPicture::drawScale(const SScale& scale, const std::string& label, int ticks)
{
    for (const double tick : axisTicks(scale.minimum, scale.maximum, ticks)) {
        const std::string y = place(scale.y(tick));
        add("<path class=\"grid\" d=\"M" + place(left) + ' ' + y + "H" + place(right) + "\"/><text x=\"" +
            place(left - 6.0) + "\" y=\"" + place(scale.y(tick) + 4.0) + "\" text-anchor=\"end\">" +
            shortText(tick) + "</text>");
    }
    add("<text x=\"" + place(left) + "\" y=\"" + place(scale.top - 8.0) + "\">" + htmlText(label) +
        "</text>");
}

void CPicture::drawBand(SHistoryValues SHistoryRow::*value, const SScale& scale, const char* style)
{
    if (trend_.resolution.count() == 0) {
        return;
    }
    for (const auto& [begin, end] : segments_) {
        std::string upper;
        std::string lower;
        for (std::size_t i = begin; i < end; ++i) {
            const SHistoryValues& values = trend_.rows[i].*value;
            if (!std::isfinite(values.minimum)) {
                continue;
            }
            const std::string at = place(x(middle(trend_.rows[i])));
            upper += (upper.empty() ? "M" : "L") + at + ' ' + place(scale.y(values.maximum));
            lower = "L" + at + ' ' + place(scale.y(values.minimum)) + lower;
        }
        if (!upper.empty()) {
            add("<path class=\"" + std::string(style) + "\" d=\"" + upper + lower + "Z\"/>");
        }
    }
}

void CPicture::drawLine(SHistoryValues SHistoryRow::*value, const SScale& scale, const char* style,
                        bool isStep)
{
    std::string path;
    for (const auto& [begin, end] : segments_) {
        bool isDrawing = false;
        double last = 0.0;
        for (std::size_t i = begin; i < end; ++i) {
            const double mean = (trend_.rows[i].*value).mean;
            if (!std::isfinite(mean)) {
                isDrawing = false;
                continue;
            }
            const std::string at = place(x(middle(trend_.rows[i])));
            const std::string y = place(scale.y(mean));
            if (!isDrawing) {
                path += "M" + at + ' ' + y;
            } else if (!isStep) {
                path += "L" + at + ' ' + y;
            } else if (mean != last || i + 1 == end) {
                path += "H" + at + "V" + y;
            }
            isDrawing = true;
            last = mean;
        }
    }
    if (!path.empty()) {
        add("<path class=\"" + std::string(style) + "\" d=\"" + path + "\"/>");
    }
}

/// Bars for times in which the controller did not control in automatic mode, or not well.
void CPicture::drawStates()
{
    const auto styleOf = [](const SHistoryRow& row) -> std::string {
        if (row.health == EHealth::Fault || row.health == EHealth::BadInput) {
            return "fault";
        }
        return !row.enabled ? "off" : row.manual ? "manual" : "";
    };
    for (const auto& [begin, end] : segments_) {
        for (std::size_t i = begin; i < end;) {
            const std::string style = styleOf(trend_.rows[i]);
            std::size_t next = i + 1;
            while (next < end && styleOf(trend_.rows[next]) == style) {
                ++next;
            }
            if (!style.empty()) {
                const Time until = next < end ? trend_.rows[next].time : trend_.rows[end - 1].time + usual_;
                const double from = x(trend_.rows[i].time);
                add("<rect class=\"" + style + "\" x=\"" + place(from) + "\" y=\"" + place(barTop) +
                    "\" width=\"" + place(std::max(x(until) - from, 1.5)) + "\" height=\"" +
                    place(barBottom - barTop) + "\"/>");
            }
            i = next;
        }
    }
}

std::string CPicture::draw()
{
    CExtent values;
    CExtent control;
    for (const SHistoryRow& row : trend_.rows) {
        values.add(row.setPoint);
        values.add(row.actualValue);
        control.add(row.controlValue);
    }
    const SScale valueScale = values.scale(valueTop, valueBottom);
    const SScale controlScale = control.scale(controlTop, controlBottom);
    add("<svg class=\"trend\" role=\"img\" aria-label=\"" + htmlText(frame_.title) + "\" viewBox=\"0 0 " +
        place(width) + ' ' + place(height) + "\" xmlns=\"http://www.w3.org/2000/svg\">");
    drawTimes();
    drawScale(valueScale, frame_.unit.empty() ? "set point, actual value" : frame_.unit, 6);
    drawScale(controlScale, "control value", 3);
    drawBand(&SHistoryRow::actualValue, valueScale, "band");
    drawBand(&SHistoryRow::controlValue, controlScale, "band control");
    drawLine(&SHistoryRow::setPoint, valueScale, "set", true);
    drawLine(&SHistoryRow::actualValue, valueScale, "actual", false);
    drawLine(&SHistoryRow::controlValue, controlScale, "control line", false);
    drawStates();
    if (trend_.rows.empty()) {
        add("<text x=\"" + place((left + right) / 2.0) + "\" y=\"" + place((valueTop + valueBottom) / 2.0) +
            "\" text-anchor=\"middle\">no values</text>");
    }
    add("</svg>");
    return svg_;
}

} // namespace

std::string trendSvg(const SHistoryTrend& trend, const STrendFrame& frame)
{
    return CPicture(trend, frame).draw();
}

std::string trendStyle()
{
    return R"(.trend { display: block; width: 100%; min-width: 640px; height: auto; }
.trend text { fill: var(--quiet); font-size: 12px; font-variant-numeric: tabular-nums; }
.trend path { fill: none; }
.trend .grid { stroke: var(--grid); stroke-width: 1; }
.trend .set { stroke: var(--text); stroke-width: 1.5; stroke-dasharray: 6 4; }
.trend .actual { stroke: var(--actual); stroke-width: 1.8; stroke-linejoin: round; }
.trend .band { fill: var(--actual); fill-opacity: 0.22; }
.trend .band.control { fill: var(--control); }
.trend .control.line { stroke: var(--control); stroke-width: 1.5; stroke-linejoin: round; }
.trend rect.off { fill: var(--off); }
.trend rect.manual { fill: var(--manual); }
.trend rect.fault { fill: var(--fault); }
)";
}

std::vector<double> axisTicks(double minimum, double maximum, int count)
{
    std::vector<double> ticks;
    const double rough = (maximum - minimum) / std::max(count, 1);
    if (!(rough > 0.0) || !std::isfinite(rough)) {
        return ticks;
    }
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    const double share = rough / power;
    const double step = power * (share <= 1.0 ? 1.0 : share <= 2.0 ? 2.0 : share <= 5.0 ? 5.0 : 10.0);
    for (double number = std::ceil(minimum / step); number * step <= maximum && ticks.size() < 100;
         number += 1.0) {
        ticks.push_back(number == 0.0 ? 0.0 : number * step);
    }
    return ticks;
}

std::string htmlText(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        case '\'':
            result += "&#39;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

} // namespace Rvl
