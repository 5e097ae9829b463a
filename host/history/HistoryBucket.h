#pragma once

#include "host/history/SampleCode.h"
#include "host/session/ControllerState.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

namespace Rvl {

/// The coarser levels of a history: the lengths of their rows, each a multiple of the one before.
inline constexpr std::array<std::int64_t, 3> historyLevels_ms{10'000, 300'000, 3'600'000};

/// The begin of the row of `length` that a time falls into, also before 1970.
constexpr std::int64_t beginOf(std::int64_t time_ms, std::int64_t length_ms)
{
    const std::int64_t rest = time_ms % length_ms;
    return time_ms - (rest < 0 ? rest + length_ms : rest);
}

/// The finite ones among several values.
struct SValueSum
{
    std::int64_t count = 0;
    double minimum = std::numeric_limits<double>::infinity();
    double maximum = -std::numeric_limits<double>::infinity();
    double sum = 0.0;

    void add(double value)
    {
        if (std::isfinite(value)) {
            add(SValueSum{1, value, value, value});
        }
    }
    void add(const SValueSum& other)
    {
        count += other.count;
        minimum = std::min(minimum, other.minimum);
        maximum = std::max(maximum, other.maximum);
        sum += other.sum;
    }
};

/// A controller over a stretch of time.
struct SHistoryBucket
{
    bool enabled = false;         ///< at any time
    bool manual = false;          ///< at any time
    EHealth health = EHealth::Ok; ///< the worst
    SValueSum setPoint;
    SValueSum actualValue;
    SValueSum controlValue;

    void add(const SCodedSample& sample, EHealth sampleHealth)
    {
        enabled = enabled || (sample.state & 2) != 0;
        manual = manual || (sample.state & 1) != 0;
        health = std::max(health, sampleHealth);
        setPoint.add(sample.setPoint);
        actualValue.add(sample.actualValue);
        controlValue.add(sample.controlValue);
    }
    void add(const SHistoryBucket& other)
    {
        enabled = enabled || other.enabled;
        manual = manual || other.manual;
        health = std::max(health, other.health);
        setPoint.add(other.setPoint);
        actualValue.add(other.actualValue);
        controlValue.add(other.controlValue);
    }
};

} // namespace Rvl
