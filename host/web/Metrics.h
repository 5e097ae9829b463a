#pragma once

#include "host/session/Snapshot.h"

#include <cstddef>
#include <string>

namespace Rvl {

/// What the server adds to a snapshot.
struct SServerFigures
{
    std::size_t eventClients = 0;
    std::string version;
};

/// A snapshot in Prometheus' text format (version 0.0.4): values and health of every controller, counters of
/// every loop, and what the process has used.
std::string metrics(const SSnapshot& snapshot, const SServerFigures& figures);

} // namespace Rvl
