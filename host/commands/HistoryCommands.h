#pragma once

#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace Rvl {

/// The options of `rivlink-host export` and `rivlink-host report`.
struct SHistoryOptions
{
    std::filesystem::path history;
    std::string from; ///< a moment, or a time before the last value such as "-1h"; the first value if empty
    std::string to;   ///< the same; the last value if empty
    std::vector<std::string> channels;           ///< all if empty
    std::optional<std::filesystem::path> output; ///< standard output if absent
    std::string band = "2%";                     ///< of the report, see SBand
    bool replaceOutput = false;
};

/// Whether the text is one that `from` and `to` may have.
bool isHistoryTime(const std::string& text);
/// Whether the text is one that `band` may have.
bool isHistoryBand(const std::string& text);

/// Writes what a history has as CSV. If that goes to a file and standard output is a terminal, it shows a
/// progress bar. Returns the exit status; throws CHostException.
int exportHistoryFile(const SHistoryOptions& options, std::ostream& out, std::ostream& err);
/// The same as a report in HTML.
int reportHistoryFile(const SHistoryOptions& options, std::ostream& out, std::ostream& err);

} // namespace Rvl
