#pragma once

#include "host/history/HistoryReader.h"

#include <string>
#include <vector>

namespace Rvl {

/// What a trend shows besides its values.
struct STrendFrame
{
    SHistoryRange range;
    std::string unit;  ///< of set point and actual value
    std::string title; ///< for screen readers
};

/// A trend as SVG for a page with the style of trendStyle(): set point as dashes, the actual value's mean as
/// a line on the band from its minimum to its maximum, below them the same of the control value on a scale of
/// its own, and below these bars where the controller was off, in manual mode or not well.
std::string trendSvg(const SHistoryTrend& trend, const STrendFrame& frame);

/// The rules of CSS that the trend needs; colours come from the page's variables.
std::string trendStyle();

/// The numbers that an axis of a range shows: at most about `count`, 1, 2 or 5 times a power of ten apart.
std::vector<double> axisTicks(double minimum, double maximum, int count);

/// The text without characters that HTML gives a meaning.
std::string htmlText(const std::string& text);

} // namespace Rvl
