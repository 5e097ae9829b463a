#pragma once

#include "host/history/HistoryWriter.h"
#include "host/plugins/PluginPath.h"
#include "host/process/ShutdownLimits.h"
#include "host/web/WebServer.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>

namespace Rvl {

/// The options of `rivlink-host run`.
struct SRunOptions
{
    std::filesystem::path configuration;
    std::optional<std::chrono::milliseconds> duration; ///< until a signal if absent
    std::optional<std::filesystem::path> record;
    std::chrono::milliseconds recordInterval{100};
    bool replaceRecord = false;
    std::optional<std::filesystem::path> history;
    std::chrono::milliseconds historyInterval{100};
    SHistoryRetention historyRetention;
    bool quiet = false;
    bool isVirtual = false;         ///< as fast as it goes; needs a duration
    bool strict = false;            ///< warnings about the configuration keep it from being run
    bool realtime = false;          ///< what the system refuses is reported, and the run goes on
    std::optional<SWebOptions> web; ///< serve the operator's page; not on virtual time
    std::string version;            ///< of the program
    std::chrono::steady_clock::time_point programStart;
    SShutdownLimits limits;
};

/// Runs a configuration until its time is over or a signal ends it, and takes every controller to
/// its disabled value before it returns the program's exit status. Live output and the summary go to `out`,
/// failures and log records to `err`; neither blocks the run. Does not return but ends the process, with the
/// same status, if the output is not flushed within the limit at the end, or if a call hangs.
int runConfiguration(const SRunOptions& options, const CPluginPath& pluginPath, std::ostream& out,
                     std::ostream& err);

} // namespace Rvl
