#pragma once

#include "host/history/HistoryExport.h"
#include "host/history/HistoryReader.h"
#include "host/history/LoopStatistics.h"

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace Rvl {

/// What a report is about.
struct SReportSettings
{
    std::string title; ///< such as the history's name
    SHistoryRange range;
    std::vector<SHistoryChannel> channels;
    SBand band;
};

/// Writes one page of HTML that needs nothing else: of each controller a trend and its statistics, and what
/// was commanded and went wrong. Returns false if the output does not take it, or `progress` ends it.
bool writeHistoryReport(const CHistoryReader& reader, const SReportSettings& settings, std::ostream& out,
                        const HistoryProgress& progress);

} // namespace Rvl
