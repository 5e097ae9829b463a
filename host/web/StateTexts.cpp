#include "host/web/StateTexts.h"

#include "host/web/StateJson.h"

namespace Rvl {

const std::string& CStateTexts::of(const CLiveState::Snapshot& snapshot, std::size_t place)
{
    if (snapshot != snapshot_) {
        texts_.assign(snapshot->controllers.size(), {});
        snapshot_ = snapshot;
    }
    std::string& text = texts_.at(place);
    if (text.empty()) {
        text = textOf(stateJson(snapshot->controllers.at(place)));
    }
    return text;
}

} // namespace Rvl
