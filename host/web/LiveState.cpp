#include "host/web/LiveState.h"

#include <algorithm>
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

namespace {

void keep(std::deque<CTrendMemory::SRow>& rows, const CTrendMemory::SRow& row)
{
    rows.push_back(row);
    if (rows.size() > CTrendMemory::rowsKept) {
        rows.pop_front();
    }
}

} // namespace

bool CTrendMemory::take(const SSnapshot& snapshot)
{
    const CMutexLock lock(mutex_);
    rows_.resize(snapshot.controllers.size());
    for (std::size_t index = 0; index < rows_.size(); ++index) {
        const SControllerState& state = snapshot.controllers[index];
        rows_[index].resize(std::max<std::size_t>(state.loops.size(), 1));
        keep(rows_[index][0], {snapshot.utc, state.setPoint, state.actualValue, state.controlValue});
        for (std::size_t loop = 1; loop < state.loops.size(); ++loop) {
            const SLoopStatus& status = state.loops[loop];
            keep(rows_[index][loop],
                 {snapshot.utc, status.setPoint, status.actualValue, status.controlValue});
        }
    }
    return true;
}

std::vector<CTrendMemory::SRow> CTrendMemory::rows(std::size_t controller,
                                                   std::chrono::system_clock::time_point from,
                                                   std::size_t points, std::size_t loop) const
{
    const CMutexLock lock(mutex_);
    std::vector<SRow> result;
    if (controller >= rows_.size() || loop >= rows_[controller].size() || points == 0) {
        return result;
    }
    const std::deque<SRow>& all = rows_[controller][loop];
    std::size_t first = 0;
    while (first < all.size() && all[first].utc < from) {
        ++first;
    }
    const std::size_t count = all.size() - first;
    const std::size_t step = (count + points - 1) / points;
    // counted from the latest
    for (std::size_t back = 0; back < count; back += step) {
        result.push_back(all[all.size() - 1 - back]);
    }
    std::reverse(result.begin(), result.end());
    return result;
}

} // namespace Rvl
