#pragma once

#include "host/plugins/PluginPath.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <ostream>

namespace Rvl {

/// What `rivlink-host run` was asked for.
struct SRunOptions
{
    std::filesystem::path configuration;
    std::optional<std::chrono::milliseconds> duration; ///< until a signal if absent
    std::optional<std::filesystem::path> record;
    std::chrono::milliseconds recordInterval{100};
    bool replaceRecord = false;
    bool quiet = false;
    bool realtime = false; ///< what the system refuses is told, and the run goes on
    std::chrono::steady_clock::time_point programStart;
};

/// Runs a configuration until its time is over or the process is asked to end, and takes every controller to
/// its disabled value before it returns the program's exit status. Live output and the summary go to `out`,
/// whatever goes wrong and log records to `err`; who does not read them is not waited for. Does not return
/// but ends the process, with the same status, if somebody has not read them some seconds after the end, or
/// if a device has one of the session's threads wait.
int runConfiguration(const SRunOptions& options, const CPluginPath& pluginPath, std::ostream& out,
                     std::ostream& err);

} // namespace Rvl
