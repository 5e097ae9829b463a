#pragma once

#include "host/session/ControllerState.h"

#include <chrono>
#include <vector>

namespace Rvl {

/// All controllers of a session, each read once.
struct SSnapshot
{
    std::chrono::system_clock::time_point utc; ///< before the first one was read: no value is older
    std::chrono::nanoseconds monotonic{0};     ///< the same moment on the timeline's other clock
    std::vector<SControllerState> controllers; ///< in the order of the file
};

/// Something that takes snapshots at an interval of its own: a table, a record.
class ISnapshotSink
{
public:
    virtual ~ISnapshotSink() = default;

    /// Time between two snapshots; more than 0, and always the same.
    virtual std::chrono::milliseconds interval() const = 0;
    /// Takes a snapshot, on the observer's thread. Returns false to get no more.
    virtual bool take(const SSnapshot& snapshot) = 0;
};

} // namespace Rvl
