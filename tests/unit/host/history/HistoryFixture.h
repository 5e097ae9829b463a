#pragma once

#include "host/history/HistoryReader.h"
#include "host/history/HistoryWriter.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

namespace Rvl::Test {

using HistoryTime = std::chrono::system_clock::time_point;

/// 2026-03-01T12:00:00Z
inline const HistoryTime noon{std::chrono::milliseconds(1'772'366'400'000)};

/// Writes values of controllers "A", "B" ... to a history, as a sink does: `count` moments from `from` on.
inline void writeSteady(CHistoryWriter& writer, HistoryTime from, std::chrono::milliseconds interval,
                        std::size_t count, std::size_t controllers = 1, double setPoint = 45.0)
{
    std::vector<SHistoryController> names;
    for (std::size_t i = 0; i < controllers; ++i) {
        names.push_back({std::string(1, static_cast<char>('A' + i)), "degC"});
    }
    writer.define(names, {{EHealth::Ok, "ok"}, {EHealth::Fault, "fault: Heater: offline"}});
    SHistoryBatch batch;
    for (std::size_t i = 0; i < count; ++i) {
        SHistoryMoment moment{from + static_cast<int>(i) * interval, {}};
        for (std::size_t n = 0; n < controllers; ++n) {
            const double value = static_cast<double>(i % 100);
            moment.states.push_back({setPoint, value, -value, true, n == 1, 0});
        }
        batch.moments.push_back(moment);
        if (batch.moments.size() == 100) {
            writer.write(batch);
            batch.moments.clear();
        }
    }
    writer.write(batch);
}

/// All single values of a controller.
inline std::vector<SHistorySample> samplesOf(const CHistoryReader& reader, const std::string& channel)
{
    std::vector<SHistorySample> result;
    if (const auto range = reader.sampleRange()) {
        reader.forEachSample(channel, *range,
                             [&](const SHistorySample& sample) { result.push_back(sample); });
    }
    return result;
}

} // namespace Rvl::Test
