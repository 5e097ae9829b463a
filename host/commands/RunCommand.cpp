#include "host/commands/RunCommand.h"

#include "host/base/HostException.h"
#include "host/base/SystemText.h"
#include "host/console/LiveTable.h"
#include "host/console/Summary.h"
#include "host/process/BackgroundOutput.h"
#include "host/process/CallWatch.h"
#include "host/process/DeadlineTasks.h"
#include "host/process/ExitWithoutCleanup.h"
#include "host/process/LogSetup.h"
#include "host/process/PeriodicTimer.h"
#include "host/process/Terminal.h"
#include "host/process/TerminateHandler.h"
#include "host/process/TerminationSignals.h"
#include "host/process/ThreadPriority.h"
#include "host/record/Recorder.h"
#include "host/session/LoadedConfiguration.h"
#include "platform/rivlink_device/ControllerChannel.h"
#include "runtime/Timelines.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <exception>
#include <future>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace Rvl {

namespace {

bool anyStepDone(const std::vector<SControllerLoops>& controllers, CCallWatch& calls)
{
    for (const auto& [channel, graph] : controllers) {
        const CCallWatch::CCall call(calls, channel);
        for (std::size_t index = 0; index < graph->loopCount(); ++index) {
            if (graph->status(index).steps > 0) {
                return true;
            }
        }
    }
    return false;
}

/// What keeps a running loop from controlling, or an empty text.
std::string faultOf(const SLoopStatus& loop, bool inner)
{
    if (inner && !loop.enabled) {
        return "is disabled, although the loop above it is enabled";
    }
    if (loop.steps > 0 && std::isnan(loop.actualValue)) {
        return "has an actual value that is not a number";
    }
    return std::isnan(loop.controlValue) ? "calculates a control value that is not a number" : "";
}

/// The states of the controllers with what only their loops tell: one value that is not a number stays in a
/// loop's integral, and an output may have turned it into a harmless-looking 0.
std::vector<SControllerState> statesWithLoops(std::vector<SControllerState> states,
                                              const std::vector<SControllerLoops>& controllers,
                                              CCallWatch& calls)
{
    // both are in the order of the file, so what belongs to a state is ahead
    auto next = controllers.begin();
    for (SControllerState& state : states) {
        const auto found = std::find_if(next, controllers.end(), [&](const SControllerLoops& loops) {
            return loops.controller == state.name;
        });
        if (found == controllers.end()) {
            continue;
        }
        next = std::next(found);
        if (state.state != "ok" || state.manual) {
            continue;
        }
        const CCallWatch::CCall call(calls, found->controller);
        for (std::size_t index = 0; index < found->graph->loopCount() && state.state == "ok"; ++index) {
            const std::string fault = faultOf(found->graph->status(index), index > 0);
            if (!fault.empty()) {
                state.state = "fault: " + state.name + ": loop " + std::to_string(index) + " " + fault;
            }
        }
    }
    return states;
}

std::vector<SObservedLoops> finalStatus(const std::vector<SControllerLoops>& controllers)
{
    std::vector<SObservedLoops> result;
    for (const auto& [channel, graph] : controllers) {
        SObservedLoops loops{channel, {}};
        for (std::size_t index = 0; index < graph->loopCount(); ++index) {
            loops.loops.push_back(graph->status(index));
        }
        result.push_back(std::move(loops));
    }
    return result;
}

std::unique_ptr<CRecorder> recorderFor(const SRunOptions& options, const CSession& session)
{
    return options.record
               ? std::make_unique<CRecorder>(*options.record, options.replaceRecord, session.states())
               : nullptr;
}

std::chrono::milliseconds longestSampleTime(const std::vector<SControllerLoops>& controllers)
{
    int longest_ms = 0;
    for (const auto& [channel, graph] : controllers) {
        for (std::size_t index = 0; index < graph->loopCount(); ++index) {
            longest_ms = std::max(longest_ms, graph->status(index).sampleTime_ms);
        }
    }
    return std::chrono::milliseconds(longest_ms);
}

/// The time between start and shutdown, on two threads. One does everything that may have to wait for a
/// device or for a disk: it starts the session, looks at the controllers, records and shows them. The other
/// waits for none of these, but a second for the summary, and so ends the run in time whatever has become of
/// the first.
class CRun
{
public:
    CRun(const SRunOptions& options, CLoadedConfiguration& loaded, CBackgroundOutput& output,
         CBackgroundOutput& errors)
        : options_(options), session_(loaded.session()), output_(output), errors_(errors),
          loops_(session_.loops()), longestSampleTime_(Rvl::longestSampleTime(loops_)),
          recorder_(recorderFor(options, session_)),
          terminationSignals_(context_, [this] { context_.stop(); }), end_(context_)
    {}

    /// Starts the session and returns when its time is over.
    void perform()
    {
        worker_ = std::thread([this] { work(); });
        const CPeriodicTimer watch(context_, std::max(options_.limits.call / 4, std::chrono::milliseconds(1)),
                                   [this] {
                                       reportHungCalls();
                                       return true;
                                   });
        context_.run();
        session_.cancelStart();
        workContext_.stop();
        workEnds(options_.limits.summary);
    }

    /// To be called when everything is disabled and before anything is destroyed: nothing of this is used any
    /// more afterwards. False if a device or a disk keeps that from happening.
    bool end()
    {
        session_.cancelStart();
        workContext_.stop();
        const bool known = session_.calls().isGivenUp(); // of a controller that could not be disabled
        if (!workEnds(known ? std::chrono::milliseconds(0) : options_.limits.progress)) {
            if (!known) {
                const std::string name = session_.calls().current();
                errors_.write("hung call: " + (name.empty() ? "an unknown one" : name) +
                              " did not return within " + limitText(options_.limits.progress) + "\n");
            }
            worker_.detach();
            return false;
        }
        recordFailed_ = recorder_ && recorder_->failed();
        return true;
    }

    std::chrono::milliseconds longestSampleTime() const { return longestSampleTime_; }
    /// How the run ended, to be called after end(); empty if a device or a disk kept that from being told.
    const std::string& summaryText() const { return isSummaryTold_ ? summaryText_ : noText_; }
    /// Whether something failed; to be called after end().
    bool failed() const { return failed_ || recordFailed_; }

private:
    /// Whether the other thread has ended, or does so in time.
    bool workEnds(std::chrono::milliseconds limit)
    {
        if (worker_.joinable() && workEnded_.wait_for(limit) == std::future_status::ready) {
            worker_.join();
            isSummaryTold_ = true;
            failed_ = !failure_.empty();
            if (failed_) {
                errors_.write("stopped: " + failure_ + "\n");
            }
        }
        return !worker_.joinable();
    }

    void work()
    {
        try {
            start();
            boost::asio::post(context_, [this] { onStarted(); });
            observe();
            // who was held up until all were disabled tells how they were before
            summaryText_ = summary(finalStatus(loops_), session_.isDisabling() ? latestStates_ : states(),
                                   untilFirstStep_);
        } catch (const std::exception& exception) {
            failure_ = exception.what();
            failure_ = failure_.empty() ? "an exception without a text" : failure_;
        } catch (...) {
            failure_ = "an exception of unknown kind";
        }
        context_.stop();
        workEnd_.set_value();
    }

    void start()
    {
        if (!options_.realtime) {
            session_.start();
            return;
        }
        std::vector<std::string> refusals = raisePriority([this] { session_.start(); });
        if (refusals.empty()) {
            boost::asio::post(context_, [] { raiseOwnPriority(); });
        }
        const std::vector<std::string> further = lockMemory();
        refusals.insert(refusals.end(), further.begin(), further.end());
        for (const std::string& refusal : refusals) {
            errors_.write(refusal + "\n");
        }
    }

    void onStarted()
    {
        if (options_.duration) {
            end_.expires_after(*options_.duration);
            end_.async_wait([this](const boost::system::error_code& error) {
                if (!error) {
                    context_.stop();
                }
            });
        }
    }

    void observe()
    {
        const auto keepGoing = boost::asio::make_work_guard(workContext_);
        std::vector<std::unique_ptr<CPeriodicTimer>> timers;
        const auto every = [&](std::chrono::milliseconds interval, std::function<bool()> call) {
            timers.push_back(std::make_unique<CPeriodicTimer>(workContext_, interval, std::move(call)));
        };
        if (!loops_.empty()) {
            every(std::chrono::milliseconds(1), [this] { return !noteFirstStep(); });
        }
        if (recorder_) {
            every(options_.recordInterval, [this] { return record(); });
        }
        // also where nothing is shown or recorded, so that a hung call is found
        every(std::chrono::milliseconds(1000), [this] {
            ask();
            return true;
        });
        if (!options_.quiet) {
            const bool terminal = setUpTerminal();
            every(std::chrono::milliseconds(terminal ? 500 : 1000), [this, terminal] {
                show(terminal);
                return true;
            });
        }
        workContext_.run();
    }

    /// Reports calls that hold up the other thread.
    void reportHungCalls()
    {
        for (const std::string& text : session_.calls().report()) {
            errors_.write(text + "\n");
        }
    }

    std::vector<SControllerState> states()
    {
        return statesWithLoops(session_.states(), loops_, session_.calls());
    }

    void ask()
    {
        try {
            latestStates_ = states();
        } catch (...) {
            // told by who needs the states
        }
    }

    bool noteFirstStep()
    {
        if (!anyStepDone(loops_, session_.calls())) {
            return false;
        }
        untilFirstStep_ = std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now() - options_.programStart);
        return true;
    }

    bool record()
    {
        const auto now = currentTimeline().utc(); // before the values: they are no older than it
        const std::vector<SControllerState> rows = states();
        const CCallWatch::CCall call(session_.calls(), "the record");
        if (recorder_->write(rows, now)) {
            return true;
        }
        errors_.write("writing the record " + textOf(*options_.record) +
                      " failed; control goes on without a record\n");
        return false;
    }

    void show(bool terminal)
    {
        // a table is drawn over the one that is there; and what nobody reads need not be there twice
        if (output_.isIdle()) {
            output_.write(terminal ? table_.draw(states(), terminalSize())
                                   : stateLine(states(), currentTimeline().utc()) + "\n");
        }
    }

    const SRunOptions& options_;
    CSession& session_;
    CBackgroundOutput& output_;
    CBackgroundOutput& errors_;

    // the other thread's, from its start to its end
    const std::vector<SControllerLoops> loops_;
    const std::chrono::milliseconds longestSampleTime_;
    /// There before the signals are ours: a disk may keep it waiting.
    std::unique_ptr<CRecorder> recorder_;
    boost::asio::io_context workContext_{1};
    std::promise<void> workEnd_;
    std::string summaryText_;
    std::string failure_;
    CLiveTable table_;
    std::vector<SControllerState> latestStates_; ///< as ask() found them, within the last second
    std::optional<std::chrono::microseconds> untilFirstStep_;

    boost::asio::io_context context_{1};
    /// From construction on a signal ends the run and not the process, also while devices are being
    /// connected.
    CTerminationSignals terminationSignals_;
    boost::asio::steady_timer end_;
    std::thread worker_;
    std::future<void> workEnded_ = workEnd_.get_future();
    bool isSummaryTold_ = false;
    bool failed_ = false;
    bool recordFailed_ = false;
    const std::string noText_;
};

/// Whether all output is flushed, or will be within the limit.
bool isFlushed(const CBackgroundOutput& output, const CBackgroundOutput& errors,
               const SShutdownLimits& limits)
{
    const auto limit = std::chrono::steady_clock::now() + limits.output / 2;
    return output.waitUntilIdle(limit) && errors.waitUntilIdle(limit);
}

/// Runs what was built until its time is over and takes it down again. Returns the exit status.
int runLoaded(const SRunOptions& options, CLoadedConfiguration& loaded, CBackgroundOutput& output,
              CBackgroundOutput& errors)
{
    int result = ExitDone;
    CSession& session = loaded.session();
    CRun run(options, loaded, output, errors);
    std::optional<CTerminateHandler> terminateHandler;
    try {
        terminateHandler.emplace([&session] { session.emergencyStop(); }, options.limits);
        run.perform();
    } catch (const std::exception& exception) {
        errors.write(std::string("stopped: ") + exception.what() + "\n");
        result = ExitFailure;
    }
    const auto onStopped = [&] {
        if (!run.end()) {
            session.calls().giveUp();
            result = ExitFailure;
        }
        if (!session.calls().isGivenUp()) { // otherwise a loop may still be in its step
            terminateHandler.reset();
        }
    };
    // while the signals are still ours: a second one must not cut this short
    for (const std::string& failure : session.shutDown(onStopped, run.longestSampleTime())) {
        errors.write(failure + "\n");
        result = ExitFailure;
    }
    if (run.failed()) {
        result = ExitFailure;
    }
    // both may be one terminal
    errors.waitUntilIdle(std::chrono::steady_clock::now() + options.limits.output / 2);
    output.write(run.summaryText());
    if (session.calls().isGivenUp()) {
        isFlushed(output, errors, options.limits);
        exitWithoutCleanup(result);
    }
    return result;
}

} // namespace

int runConfiguration(const SRunOptions& options, const CPluginPath& pluginPath, std::ostream& out,
                     std::ostream& err)
{
    ignoreWriteSignals();
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
        auto loaded =
            std::make_unique<CLoadedConfiguration>(options.configuration, pluginPath, options.limits);
        if (!loaded->faults().empty()) {
            errors.write(loaded->faults().report(loaded->configuration().name()));
            flush();
            return loaded->faults().hasRuntimeFault() ? ExitFailure : ExitBadConfiguration;
        }
        result = runLoaded(options, *loaded, output, errors);
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
