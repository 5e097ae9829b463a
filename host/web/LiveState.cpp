#include "host/web/LiveState.h"

#include <utility>

namespace Rvl {

CLiveState::CLiveState(std::function<void(const Snapshot&)> onSnapshot) : onSnapshot_(std::move(onSnapshot))
{}

bool CLiveState::take(const SSnapshot& snapshot)
{
    const auto copy = std::make_shared<const SSnapshot>(snapshot);
    {
        const CMutexLock lock(mutex_);
        latest_ = copy;
    }
    onSnapshot_(copy);
    return true;
}

CLiveState::Snapshot CLiveState::latest() const
{
    const CMutexLock lock(mutex_);
    return latest_;
}

bool CTrendMemory::take(const SSnapshot& snapshot)
{
    const CMutexLock lock(mutex_);
    rows_.resize(snapshot.controllers.size());
    for (std::size_t index = 0; index < rows_.size(); ++index) {
        const SControllerState& state = snapshot.controllers[index];
        rows_[index].push_back({snapshot.utc, state.setPoint, state.actualValue, state.controlValue});
        if (rows_[index].size() > rowsKept) {
            rows_[index].pop_front();
        }
    }
    return true;
}

std::vector<CTrendMemory::SRow> CTrendMemory::rows(std::size_t controller,
                                                   std::chrono::system_clock::time_point from,
                                                   std::size_t points) const
{
    const CMutexLock lock(mutex_);
    std::vector<SRow> result;
    if (controller >= rows_.size() || points == 0) {
        return result;
    }
    const std::deque<SRow>& all = rows_[controller];
    std::size_t first = 0;
    while (first < all.size() && all[first].utc < from) {
        ++first;
    }
    const std::size_t count = all.size() - first;
    const std::size_t step = (count + points - 1) / points;
    // counted from the latest
    for (std::size_t back = 0; back < count; back += step) {
        result.insert(result.begin(), all[all.size() - 1 - back]);
    }
    return result;
}

} // namespace Rvl
