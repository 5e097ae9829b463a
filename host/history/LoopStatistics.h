#pragma once

#include "host/history/HistorySample.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <vector>

namespace Rvl {

/// When an actual value counts as outside of the band around its set point.
struct SBand
{
    double value = 2.0;
    bool isPercent = true; ///< of the set point's magnitude; otherwise in the controller's unit

    double around(double setPoint) const;
};

/// A set point and what followed it.
struct SSetPointChange
{
    std::chrono::system_clock::time_point time;
    double from = 0.0;
    double to = 0.0;
    /// How far the actual value went beyond the new set point, in percent of the change; nothing if there was
    /// no actual value in automatic mode.
    std::optional<double> overshoot_percent;
    /// From the change until the actual value came into the band for good; nothing if it did not.
    std::optional<std::chrono::milliseconds> settled;
};

/// How well a controller controlled, from its single values in the order of time. With w the set point, x the
/// actual value and y the control value of sample k, and dt(k) the time to the next one, 0 if that is a gap:
///
///     IAE          = sum |w(k) - x(k)| dt(k)        in automatic mode
///     out of band  = sum dt(k)                      in automatic mode with |w(k) - x(k)| > band
///     overshoot    = max(0, max s (x - w1)) / |w1 - w0| 100 %, s = sign(w1 - w0), until the next change
///     starts       = how often |y| rises above 2 % of the largest |y| after having been at most 1 % of it
///
/// A gap is a time between two samples of more than three times the usual one (the median of the first 1000)
/// and of more than a second. Changes that follow each other within two seconds count as one, from the first
/// set point to the last. Samples whose set or actual value is not finite count for the times only.
class CLoopStatistics
{
public:
    /// `largestControlValue` is the largest magnitude of the control value.
    CLoopStatistics(const SBand& band, double largestControlValue);

    void add(const SHistorySample& sample);
    /// After the last sample.
    void finish();

    std::size_t samples() const { return samples_; }
    /// Without gaps.
    std::chrono::milliseconds observed() const { return observed_; }
    /// Of that: enabled and not in manual mode.
    std::chrono::milliseconds automatic() const { return automatic_; }
    std::chrono::milliseconds outOfBand() const { return outOfBand_; }
    /// With bad input or a fault.
    std::chrono::milliseconds faulty() const { return faulty_; }
    /// In the controller's unit times seconds.
    double integralOfError() const { return integralOfError_; }
    std::size_t starts() const { return starts_; }
    const std::vector<SSetPointChange>& changes() const { return changes_; }

private:
    void process(const SHistorySample& sample);
    void addTime(std::chrono::milliseconds time);
    void follow(const SHistorySample& sample);
    void endChange();

    const SBand band_;
    const double largestControlValue_;
    std::vector<SHistorySample> first_; ///< until the usual time between two is known
    std::chrono::milliseconds gap_{0};
    std::optional<SHistorySample> last_;
    std::size_t samples_ = 0;
    std::chrono::milliseconds observed_{0};
    std::chrono::milliseconds automatic_{0};
    std::chrono::milliseconds outOfBand_{0};
    std::chrono::milliseconds faulty_{0};
    double integralOfError_ = 0.0;
    std::size_t starts_ = 0;
    bool isAtRest_ = false;
    std::vector<SSetPointChange> changes_;
    bool isFollowing_ = false;
    std::chrono::system_clock::time_point lastChange_;
    std::optional<std::chrono::system_clock::time_point> inBandSince_;
};

} // namespace Rvl
