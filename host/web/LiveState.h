#pragma once

#include "common/ThreadSafety.h"
#include "host/session/Snapshot.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

/// The latest snapshot, for any number of readers on any thread.
class CLiveState : public ISnapshotSink
{
public:
    using Snapshot = std::shared_ptr<const SSnapshot>;
    static constexpr std::chrono::milliseconds liveInterval{100};

    /// `onSnapshot` is called with each snapshot, on the observer's thread; it must return at once.
    explicit CLiveState(std::function<void(const Snapshot&)> onSnapshot);

    std::chrono::milliseconds interval() const override { return liveInterval; }
    bool take(const SSnapshot& snapshot) override;
    /// Null before the first one.
    Snapshot latest() const;

private:
    const std::function<void(const Snapshot&)> onSnapshot_;
    mutable CMutex mutex_;
    Snapshot latest_ RVL_GUARDED_BY(mutex_);
};

/// The values of every controller and of the loops below its outermost one during the last ten minutes, one
/// row a second. From any thread.
class CTrendMemory : public ISnapshotSink
{
public:
    struct SRow
    {
        std::chrono::system_clock::time_point utc;
        double setPoint;
        double actualValue;
        double controlValue;
    };

    static constexpr std::size_t rowsKept = 600;

    std::chrono::milliseconds interval() const override { return std::chrono::seconds(1); }
    bool take(const SSnapshot& snapshot) override;
    /// The rows of a controller, in the snapshots' order, that are not older than `from`; at most `points` of
    /// them, evenly spread, the latest among them. With a `loop` other than 0 those of that loop, unscaled.
    std::vector<SRow> rows(std::size_t controller, std::chrono::system_clock::time_point from,
                           std::size_t points, std::size_t loop = 0) const;

private:
    mutable CMutex mutex_;
    std::vector<std::vector<std::deque<SRow>>> rows_ RVL_GUARDED_BY(mutex_); ///< by controller and loop
};

} // namespace Rvl
