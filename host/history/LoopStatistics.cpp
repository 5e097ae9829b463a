#include "host/history/LoopStatistics.h"

#include <algorithm>
#include <cmath>

namespace Rvl {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t samplesForUsualTime = 1000;
constexpr milliseconds leastGap(1000);
constexpr milliseconds oneChange(2000);
constexpr double startAt = 0.02;
constexpr double restAt = 0.01;

milliseconds between(const SHistorySample& one, const SHistorySample& other)
{
    return std::chrono::floor<milliseconds>(other.time - one.time);
}

bool isAutomatic(const SHistorySample& sample)
{
    return sample.enabled && !sample.manual;
}

bool isFinite(const SHistorySample& sample)
{
    return std::isfinite(sample.setPoint) && std::isfinite(sample.actualValue);
}

} // namespace

double SBand::around(double setPoint) const
{
    return isPercent ? value / 100.0 * std::abs(setPoint) : value;
}

CLoopStatistics::CLoopStatistics(const SBand& band, double largestControlValue)
    : band_(band), largestControlValue_(largestControlValue)
{}

void CLoopStatistics::add(const SHistorySample& sample)
{
    ++samples_;
    if (gap_.count() > 0) {
        process(sample);
        return;
    }
    first_.push_back(sample);
    if (first_.size() >= samplesForUsualTime) {
        finish();
    }
}

/// Determines what a gap is from what is there, and makes up for what has waited for that.
void CLoopStatistics::finish()
{
    if (gap_.count() == 0) {
        std::vector<milliseconds> times;
        for (std::size_t i = 1; i < first_.size(); ++i) {
            times.push_back(between(first_[i - 1], first_[i]));
        }
        if (!times.empty()) {
            const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
            std::nth_element(times.begin(), middle, times.end());
            gap_ = 3 * *middle;
        }
        gap_ = std::max(gap_, leastGap);
        for (const SHistorySample& sample : first_) {
            process(sample);
        }
        first_ = {};
    }
    if (!changes_.empty() && isFollowing_ && inBandSince_) {
        changes_.back().settled = std::chrono::floor<milliseconds>(*inBandSince_ - changes_.back().time);
    }
}

void CLoopStatistics::process(const SHistorySample& sample)
{
    const double magnitude = std::abs(sample.controlValue);
    if (magnitude <= restAt * largestControlValue_) {
        isAtRest_ = true;
    } else if (isAtRest_ && magnitude > startAt * largestControlValue_) {
        isAtRest_ = false;
        ++starts_;
    }
    if (last_) {
        const milliseconds time = between(*last_, sample);
        if (time > gap_ || time.count() < 0) {
            endChange();
        } else {
            addTime(time);
            if (last_->setPoint != sample.setPoint && std::isfinite(last_->setPoint) &&
                std::isfinite(sample.setPoint) && isAutomatic(sample)) {
                if (isFollowing_ && sample.time - lastChange_ <= oneChange) {
                    changes_.back().to = sample.setPoint;
                    changes_.back().overshoot_percent.reset();
                    inBandSince_.reset();
                } else {
                    endChange();
                    changes_.push_back({sample.time, last_->setPoint, sample.setPoint, {}, {}});
                    isFollowing_ = true;
                }
                lastChange_ = sample.time;
            }
        }
    }
    follow(sample);
    last_ = sample;
}

void CLoopStatistics::addTime(milliseconds time)
{
    observed_ += time;
    if (last_->health.kind == EHealth::BadInput || last_->health.kind == EHealth::Fault) {
        faulty_ += time;
    }
    if (!isAutomatic(*last_)) {
        return;
    }
    automatic_ += time;
    if (isFinite(*last_)) {
        const double error = std::abs(last_->setPoint - last_->actualValue);
        integralOfError_ += error * std::chrono::duration<double>(time).count();
        if (error > band_.around(last_->setPoint)) {
            outOfBand_ += time;
        }
    }
}

void CLoopStatistics::follow(const SHistorySample& sample)
{
    if (!isFollowing_) {
        return;
    }
    if (!isAutomatic(sample)) {
        endChange();
        return;
    }
    if (!isFinite(sample)) {
        return;
    }
    SSetPointChange& change = changes_.back();
    const double size = change.to - change.from;
    if (size != 0.0) {
        const double beyond = (sample.actualValue - change.to) * (size > 0.0 ? 1.0 : -1.0);
        const double percent = std::max(0.0, beyond / std::abs(size) * 100.0);
        change.overshoot_percent = std::max(change.overshoot_percent.value_or(0.0), percent);
    }
    if (std::abs(sample.setPoint - sample.actualValue) > band_.around(sample.setPoint)) {
        inBandSince_.reset();
    } else if (!inBandSince_) {
        inBandSince_ = sample.time;
    }
}

void CLoopStatistics::endChange()
{
    if (isFollowing_ && inBandSince_) {
        changes_.back().settled = std::chrono::floor<milliseconds>(*inBandSince_ - changes_.back().time);
    }
    isFollowing_ = false;
    inBandSince_.reset();
}

} // namespace Rvl
