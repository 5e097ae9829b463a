#include "host/history/HistoryExport.h"

#include "host/base/RecordText.h"
#include "host/base/UtcText.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Rvl {

namespace {

/// What is read at once, of all channels.
constexpr std::chrono::milliseconds window = std::chrono::minutes(1);

/// The lines of a stretch of time; how many there are.
std::size_t addWindow(const CHistoryReader& reader, const SHistoryRange& range,
                      const std::vector<SHistoryChannel>& channels, std::string& lines)
{
    std::vector<std::pair<const SHistoryChannel*, SHistorySample>> rows;
    for (const SHistoryChannel& channel : channels) {
        reader.forEachSample(channel.name, range,
                             [&](const SHistorySample& sample) { rows.emplace_back(&channel, sample); });
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto& one, const auto& other) { return one.second.time < other.second.time; });
    std::string time;
    const SHistorySample* last = nullptr;
    for (const auto& [channel, sample] : rows) {
        if (last == nullptr || last->time != sample.time) {
            time = utcText(sample.time);
        }
        last = &sample;
        lines += recordRow(time, {channel->name, sample.setPoint, sample.actualValue, sample.controlValue,
                                  sample.enabled, sample.manual, sample.health.text});
    }
    return rows.size();
}

} // namespace

bool exportHistory(const CHistoryReader& reader, const SHistoryRange& range,
                   const std::vector<SHistoryChannel>& channels, std::ostream& out,
                   const HistoryProgress& progress)
{
    std::vector<std::pair<std::string, std::string>> units;
    for (const SHistoryChannel& channel : channels) {
        units.emplace_back(channel.name, channel.unit);
    }
    std::string lines = recordHeader(units) + '\n';
    for (auto from = range.from; from <= range.to;) {
        const auto to = std::min(range.to, from + window - std::chrono::milliseconds(1));
        if (addWindow(reader, {from, to}, channels, lines) == 0) {
            // a time without values may be years long
            from = std::max(reader.nextSample(to).value_or(range.to), to);
        } else {
            from = to;
        }
        from += std::chrono::milliseconds(from == to ? 1 : 0);
        if (!out.write(lines.data(), static_cast<std::streamsize>(lines.size()))) {
            return false;
        }
        lines.clear();
        if (!progress(std::min(from, range.to) - range.from, range.to - range.from)) {
            return false;
        }
    }
    return static_cast<bool>(out << lines << std::flush);
}

} // namespace Rvl
