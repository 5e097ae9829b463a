#include "host/commands/HistoryCommands.h"

#include "common/Numbers.h"
#include "host/base/Duration.h"
#include "host/base/HostException.h"
#include "host/base/Suggestion.h"
#include "host/base/SystemText.h"
#include "host/base/UtcText.h"
#include "host/console/ProgressBar.h"
#include "host/history/HistoryExport.h"
#include "host/history/HistoryReader.h"
#include "host/history/HistoryReport.h"
#include "host/process/Terminal.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <functional>
#include <system_error>

namespace Rvl {

namespace {

using Clock = std::chrono::steady_clock;
using Time = std::chrono::system_clock::time_point;

/// The moment that the text names; one before `last` for a text such as "-1h".
std::optional<Time> momentOf(const std::string& text, Time last)
{
    if (text.starts_with('-')) {
        const auto before = parseDuration(text.substr(1));
        return before ? std::optional<Time>(last - *before) : std::nullopt;
    }
    return parseUtc(text);
}

std::optional<SBand> bandOf(const std::string& text)
{
    const bool isPercent = text.ends_with('%');
    const auto value = parseReal(isPercent ? text.substr(0, text.size() - 1) : text);
    return value && *value >= 0.0 ? std::optional<SBand>({*value, isPercent}) : std::nullopt;
}

SHistoryRange rangeOf(const SHistoryOptions& options, const CHistoryReader& reader)
{
    const auto whole = reader.range();
    if (!whole) {
        throw CHostException(ExitFailure, "the history " + textOf(options.history) + " has no values");
    }
    SHistoryRange range = *whole;
    if (!options.from.empty()) {
        range.from = momentOf(options.from, whole->to).value_or(range.from);
    }
    if (!options.to.empty()) {
        range.to = momentOf(options.to, whole->to).value_or(range.to);
    }
    if (range.to < range.from) {
        throw CHostException(ExitUsage, "the time ends at " + utcText(range.to) + " before it begins at " +
                                            utcText(range.from));
    }
    // without the times before the first and after the last value
    return {std::clamp(range.from, whole->from, whole->to), std::clamp(range.to, whole->from, whole->to)};
}

std::vector<SHistoryChannel> channelsOf(const SHistoryOptions& options, const CHistoryReader& reader)
{
    const std::vector<SHistoryChannel> all = reader.channels();
    if (options.channels.empty()) {
        return all;
    }
    std::vector<SHistoryChannel> chosen;
    std::vector<std::string> names;
    std::transform(all.begin(), all.end(), std::back_inserter(names),
                   [](const SHistoryChannel& channel) { return channel.name; });
    for (const std::string& name : options.channels) {
        const auto found = std::find(names.begin(), names.end(), name);
        if (found == names.end()) {
            throw CHostException(ExitUsage, "the history " + textOf(options.history) +
                                                " has no controller \"" + name + "\"; expected " +
                                                expectedChoices(name, names));
        }
        chosen.push_back(all[static_cast<std::size_t>(found - names.begin())]);
    }
    return chosen;
}

/// A progress bar on `out`, or none.
class CProgress
{
public:
    CProgress(std::ostream& out, bool isShown) : out_(out), isShown_(isShown && setUpTerminal()) {}
    ~CProgress()
    {
        if (isBegun_) {
            out_ << '\n' << std::flush;
        }
    }
    CProgress(const CProgress&) = delete;
    CProgress& operator=(const CProgress&) = delete;

    bool operator()(std::chrono::nanoseconds done, std::chrono::nanoseconds all)
    {
        const auto now = Clock::now();
        if (isShown_ && (done >= all || now >= next_)) {
            next_ = now + std::chrono::milliseconds(100);
            isBegun_ = true;
            out_ << progressLine(done, all, std::chrono::nanoseconds(0), terminalSize().width) << std::flush;
        }
        return true;
    }

private:
    std::ostream& out_;
    const bool isShown_;
    bool isBegun_ = false;
    Clock::time_point next_ = Clock::now() + std::chrono::milliseconds(100);
};

/// Has `write` write to where the result is to go.
int deliver(const SHistoryOptions& options, std::ostream& out,
            const std::function<bool(std::ostream&, const HistoryProgress&)>& write)
{
    CProgress progress(out, options.output.has_value());
    const HistoryProgress show = [&progress](auto done, auto all) { return progress(done, all); };
    if (!options.output) {
        return write(out, show) ? ExitDone : ExitFailure;
    }
    const std::filesystem::path& file = *options.output;
    std::error_code ignored;
    if (std::filesystem::equivalent(file, options.history, ignored)) {
        throw CHostException(ExitUsage, "the output " + textOf(file) + " is the history");
    }
    if (!options.replaceOutput && std::filesystem::is_regular_file(file, ignored)) {
        throw CHostException(ExitFailure, textOf(file) + " already exists; --force replaces it");
    }
    errno = 0;
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    if (!stream) {
        throw CHostException(ExitFailure, "cannot create " + textOf(file) + ": " +
                                              std::generic_category().message(errno ? errno : EIO));
    }
    if (!write(stream, show) || !stream.flush()) {
        throw CHostException(ExitFailure, "writing " + textOf(file) + " failed");
    }
    return ExitDone;
}

/// Says so where the wanted time begins before the single values do.
void reportWhatIsMissing(const CHistoryReader& reader, const SHistoryRange& range, std::ostream& err)
{
    const auto samples = reader.sampleRange();
    if (samples && samples->from > range.from) {
        err << "single values are kept from " << utcText(samples->from)
            << " on; before that there are only means" << std::endl;
    }
}

} // namespace

bool isHistoryTime(const std::string& text)
{
    return momentOf(text, Time()).has_value();
}

bool isHistoryBand(const std::string& text)
{
    return bandOf(text).has_value();
}

int exportHistoryFile(const SHistoryOptions& options, std::ostream& out, std::ostream& err)
{
    const CHistoryReader reader(options.history);
    const SHistoryRange range = rangeOf(options, reader);
    const std::vector<SHistoryChannel> channels = channelsOf(options, reader);
    reportWhatIsMissing(reader, range, err);
    return deliver(options, out, [&](std::ostream& stream, const HistoryProgress& progress) {
        return exportHistory(reader, range, channels, stream, progress);
    });
}

int reportHistoryFile(const SHistoryOptions& options, std::ostream& out, std::ostream& err)
{
    const CHistoryReader reader(options.history);
    SReportSettings settings;
    settings.title = textOf(options.history.filename());
    settings.range = rangeOf(options, reader);
    settings.channels = channelsOf(options, reader);
    settings.band = bandOf(options.band).value_or(SBand());
    reportWhatIsMissing(reader, settings.range, err);
    return deliver(options, out, [&](std::ostream& stream, const HistoryProgress& progress) {
        return writeHistoryReport(reader, settings, stream, progress);
    });
}

} // namespace Rvl
