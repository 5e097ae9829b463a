#include "host/commands/RunCommand.h"

#include "host/base/CalendarCheck.h"
#include "host/base/ControlCharacters.h"
#include "host/base/HostException.h"
#include "host/base/SystemText.h"
#include "host/commands/RealTimeRun.h"
#include "host/commands/VirtualRun.h"
#include "host/process/BackgroundOutput.h"
#include "host/process/CrashHandler.h"
#include "host/process/DeadlineTasks.h"
#include "host/process/ExitWithoutCleanup.h"
#include "host/process/LogSetup.h"
#include "host/process/TerminateHandler.h"
#include "host/process/TerminationSignals.h"
#include "host/session/Commands.h"
#include "host/session/LoadedConfiguration.h"
#include "host/web/WebServer.h"
#include "runtime/Timelines.h"
#include "runtime/VirtualTimeline.h"

#include <chrono>
#include <ctime>
#include <exception>
#include <memory>
#include <optional>
#include <system_error>
#include <vector>

namespace Rvl {

namespace {

/// Whether all output is flushed, or will be within the limit.
bool isFlushed(const CBackgroundOutput& output, const CBackgroundOutput& errors,
               const SShutdownLimits& limits)
{
    const auto limit = std::chrono::steady_clock::now() + limits.output / 2;
    return output.waitUntilIdle(limit) && errors.waitUntilIdle(limit);
}

/// When virtual time begins, so that records of two runs are equal.
constexpr std::chrono::sys_days virtualStart{std::chrono::year(2000) / 1 / 1};

/// Performs the run of what was built and takes it down again. Returns the exit status.
template <class Run>
int perform(Run& run, const SRunOptions& options, CSession& session, CBackgroundOutput& output,
            CBackgroundOutput& errors, CWebServer* server = nullptr)
{
    int result = ExitDone;
    std::optional<CTerminateHandler> terminateHandler;
    std::optional<CCrashHandler> crashHandler;
    try {
        if (!options.isVirtual) { // which drives nothing, on one thread
            crashHandler.emplace([&session] { session.emergencyStopBeside(); }, options.limits);
        }
        terminateHandler.emplace([&session] { session.emergencyStop(); }, options.limits);
        run.perform();
    } catch (const std::exception& exception) {
        errors.write("stopped: " + escapeControlCharacters(exception.what()) + "\n");
        result = ExitFailure;
    } catch (...) {
        errors.write("stopped: an exception of unknown kind\n");
        result = ExitFailure;
    }
    const auto onStopped = [&] {
        if (!run.end()) {
            session.calls().giveUp();
            result = ExitFailure;
        }
        if (server && !server->stop(options.limits.progress)) {
            errors.write("hung call: a command did not return within " + limitText(options.limits.progress) +
                         "\n");
            session.calls().giveUp();
            result = ExitFailure;
        }
        if (!session.calls().isGivenUp()) { // otherwise a loop may still be in its step
            crashHandler.reset();
            terminateHandler.reset();
        }
    };
    // while the run handles the signals: a second one must not cut this short
    const SShutdownReport report = session.shutDown(onStopped);
    for (const std::string& failure : report.failures) {
        errors.write(failure + "\n");
        result = ExitFailure;
    }
    if (run.failed()) {
        result = ExitFailure;
    }
    // both may be one terminal
    errors.waitUntilIdle(std::chrono::steady_clock::now() + options.limits.output / 2);
    output.write(run.summaryText());
    if (report.hung) {
        isFlushed(output, errors, options.limits);
        exitWithoutCleanup(result);
    }
    return result;
}

int runLoaded(const SRunOptions& options, CLoadedConfiguration& loaded, CVirtualTimeline& virtualTimeline,
              CBackgroundOutput& output, CBackgroundOutput& errors)
{
    CSession& session = loaded.session();
    if (options.isVirtual) {
        CVirtualRun run(options, session, virtualTimeline, output, errors);
        return perform(run, options, session, output, errors);
    }
    CCommands commands(session, loaded.catalogue());
    std::optional<CWebServer> server;
    std::vector<ISnapshotSink*> sinks;
    if (options.web) {
        server.emplace(*options.web, loaded, commands, options.limits, options.version, options.history);
        sinks = server->sinks();
        output.write(server->url() + "\n");
    }
    CRealTimeRun run(options, session, currentTimeline(), output, errors, sinks);
    commands.addSink([&run](const SCommandRecord& record) { run.note(record); });
    if (server) {
        server->start();
    }
    return perform(run, options, session, output, errors, server ? &*server : nullptr);
}

} // namespace

int runConfiguration(const SRunOptions& options, const CPluginPath& pluginPath, std::ostream& out,
                     std::ostream& err)
{
    ignoreWriteSignals();
    if (const std::string fault = calendarFault(std::time(nullptr)); !options.isVirtual && !fault.empty()) {
        throw CHostException(ExitFailure, fault); // before the plug-ins' timers, which go by it, fail
    }
    std::error_code ignored;
    if (options.record && std::filesystem::equivalent(*options.record, options.configuration, ignored)) {
        throw CHostException(ExitUsage, "the record " + textOf(*options.record) + " is the configuration");
    }
    CBackgroundOutput output(out);
    CBackgroundOutput errors(err);
    const CBackgroundLog log(errors);
    // without a limit, as nothing is driven
    const auto flush = [&] {
        while (!errors.waitUntilIdle(std::chrono::steady_clock::now() + options.limits.output)) {
        }
    };
    int result = ExitDone;
    try {
        // before what goes by it
        CVirtualTimeline virtualTimeline(virtualStart);
        std::optional<CTimelineInForce> inForce;
        SSessionSettings settings;
        if (options.isVirtual) {
            inForce.emplace(virtualTimeline);
            settings = SSessionSettings::onVirtualTime(virtualTimeline);
        }
        settings.limits = options.limits;
        auto loaded = std::make_unique<CLoadedConfiguration>(options.configuration, pluginPath, settings);
        errors.write(loaded->faults().report(loaded->configuration().name(), options.strict));
        if (loaded->faults().refuses(options.strict)) {
            flush();
            return ExitBadConfiguration;
        }
        result = runLoaded(options, *loaded, virtualTimeline, output, errors);
        CDeadlineTasks unloading;
        unloading.add("unloading the plug-ins", [&loaded] { loaded.reset(); });
        for (const std::string& name : unloading.run(options.limits)) {
            errors.write(name + ": did not end within " + limitText(options.limits.progress) + "\n");
            isFlushed(output, errors, options.limits);
            exitWithoutCleanup(ExitFailure);
        }
    } catch (...) {
        flush();
        throw;
    }
    if (!isFlushed(output, errors, options.limits)) {
        exitWithoutCleanup(result);
    }
    return result;
}

} // namespace Rvl
