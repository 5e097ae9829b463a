#pragma once

#include "host/web/LiveState.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Rvl {

/// The states of the latest snapshot as JSON, each made once however often it is read. Not guarded.
class CStateTexts
{
public:
    /// The state at that place of the snapshot. The text is valid until the next call.
    const std::string& of(const CLiveState::Snapshot& snapshot, std::size_t place);

private:
    CLiveState::Snapshot snapshot_;  ///< kept, so that no other one has its address
    std::vector<std::string> texts_; ///< of its states; empty where not made yet
};

} // namespace Rvl
